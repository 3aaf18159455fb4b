// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The generic step-based guide window. It knows nothing of
// this application: steps, texts and what completion means are given to it.
#include "common/ClosingWindow.h"
#include "onboarding/OKRootView.h"
#include "onboarding/OKStep.h"
#include "settings/PollTimer.h"

#include <QObject>
#include <QPointer>
#include <QRect>

// What the guide reads from its surroundings (tests give their own).
struct OnboardingKitOptions {
    OnboardingKitEnv::Environment environment = OnboardingKitEnv::process();
    PollTimerFactory timers = PollTimers::qt();
    // The main screen's visible area; nullopt without a screen.
    std::function<std::optional<QRect>()> screenArea;
};

class OnboardingKitController : public QObject {
    Q_OBJECT
public:
    static constexpr int width = 360;
    static constexpr int initialHeight = 500;
    static constexpr int screenMargin = 40;
    static constexpr int heightWithoutScreen = 860;

    using Options = OnboardingKitOptions;
    static std::optional<QRect> primaryScreenArea();

    explicit OnboardingKitController(Options options = {}, QObject *parent = nullptr);
    ~OnboardingKitController() override;

    std::function<QList<OKStep>()> makeSteps;
    std::function<OKStrings()> strings;
    std::function<void()> onCompleted;
    std::function<void()> onClosedByUser;
    QStringList legacyEnv;

    QWidget *window() const { return m_window; }
    OKRootView *rootView() const { return m_root; }
    bool finishing() const { return m_finishing; }

    void show(bool startAtPermissions);
    // Sets the window's content height, keeping its top edge and the window on screen.
    void resize(double height);
    void finish();

private:
    int maxContentHeight() const;
    void windowWillClose();

    Options m_options;
    QPointer<ClosingWindow> m_window; // the guide's window
    QPointer<OKRootView> m_root;
    bool m_finishing = false;
};
