// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The guide's page building blocks (generic: they know nothing of this application beyond
// what they are given).
#include "settings/PillControls.h"
#include "settings/SettingsWidgets.h"

#include <QLabel>
#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <functional>

namespace OKMetrics {
inline constexpr int width = 360;
inline constexpr int margin = 28;
}

// The application icon (the bundled SVG) at a given size.
class OKAppIcon : public QLabel {
    Q_OBJECT
public:
    explicit OKAppIcon(int size, QWidget *parent = nullptr);
};

// Icon, large title and body, centred.
class OKWelcomeHeader : public QWidget {
    Q_OBJECT
public:
    OKWelcomeHeader(const QString &title, const QString &body, QWidget *parent = nullptr);
};

// A page's title and optional body.
class OKStepHeader : public QWidget {
    Q_OBJECT
public:
    OKStepHeader(const QString &title, const QString &body = {}, QWidget *parent = nullptr);
};

// The last page's header: a check mark, the title and an optional body.
class OKReadyHeader : public QWidget {
    Q_OBJECT
public:
    OKReadyHeader(const QString &title, const QString &body = {}, QWidget *parent = nullptr);
};

// A permission the application cannot grant itself: the granted badge once `granted` holds,
// else what its absence means and a button that checks again.
class OKPermissionRow : public QFrame {
    Q_OBJECT
public:
    struct Texts {
        QString title, body, missingBody, recheck, granted;
    };
    OKPermissionRow(const QString &icon, Texts texts, std::function<bool()> granted, QWidget *parent = nullptr);
    bool showsGranted() const { return m_showsGranted; }

public slots:
    void refresh(); // re-reads `granted`

protected:
    void paintEvent(QPaintEvent *) override;

private:
    Texts m_texts;
    std::function<bool()> m_granted;
    QLabel *m_body;
    QWidget *m_button;
    QWidget *m_badge;
    bool m_showsGranted = false;
};

// A row of key caps with a label.
class OKHintRow : public QWidget {
    Q_OBJECT
public:
    OKHintRow(const QStringList &keys, const QString &label, const QString &icon = {}, QWidget *parent = nullptr);
};

class OKKeycap : public KeyCap {
    Q_OBJECT
public:
    using KeyCap::KeyCap;
};

// A small drawn mock of the palette (search field and a few rows).
class OKDemoCanvas : public QWidget {
    Q_OBJECT
public:
    OKDemoCanvas(int height, const QString &searchPlaceholder, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *) override;

private:
    QString m_placeholder;
};

// A choice with a switch bound to a value.
class OKConsentRow : public QFrame {
    Q_OBJECT
public:
    OKConsentRow(const QString &title, const QString &body, bool isOn, std::function<void(bool)> setOn,
                 QWidget *parent = nullptr);
    PillSwitch *toggle() const { return m_switch; }

protected:
    void paintEvent(QPaintEvent *) override;

private:
    PillSwitch *m_switch;
};

// The page's main button (filled).
class OKPrimaryButton : public MSPillButton {
    Q_OBJECT
public:
    OKPrimaryButton(const QString &title, std::function<void()> action, QWidget *parent = nullptr);
    QSize sizeHint() const override;
};

// "Waiting for permission…" with three pulsing dots (its own timer).
class OKWaitingDots : public QWidget {
    Q_OBJECT
public:
    explicit OKWaitingDots(const QString &text, QWidget *parent = nullptr);
    QString text() const { return m_label->text(); }

protected:
    void paintEvent(QPaintEvent *) override;

private:
    QLabel *m_label;
    QTimer m_timer;
    int m_phase = 0;
};

// The page position as dots.
class OKPageDots : public QWidget {
    Q_OBJECT
public:
    OKPageDots(int index, int count, QWidget *parent = nullptr);
    void set(int index, int count);
    int index() const { return m_index; }
    int count() const { return m_count; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *) override;

private:
    int m_index;
    int m_count;
};
