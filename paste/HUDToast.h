// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A short notice near the bottom of the primary screen that fades out by itself.
// Callers pass localized text.
#include "paste/ToastScheduler.h"

#include <QObject>
#include <QPointer>
#include <optional>

class ToastWindow;

class HUDToast : public QObject {
    Q_OBJECT
public:
    static constexpr int fadeInMs = 140;
    static constexpr int visibleMs = 1600; // from `show` until the fade-out starts
    static constexpr int fadeOutMs = 250;
    static constexpr int bottomOffset = 120; // above the bottom of the usable area

    explicit HUDToast(ToastScheduler &scheduler, QObject *parent = nullptr);
    ~HUDToast() override;
    static HUDToast &shared();

    // Shows a notice, replacing (without fading) any notice on screen.
    void show(const QString &text);
    // The notice on screen or fading out, if any.
    QWidget *currentWindow() const;

private:
    void hide(); // the hide job

    ToastScheduler &m_scheduler;
    QPointer<ToastWindow> m_current;
    std::optional<ToastScheduler::Job> m_hideJob;
};
