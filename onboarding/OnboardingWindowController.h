// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// This application's first-run guide: its four pages, button
// texts and completion (onboardingCompleted), over the generic OnboardingKitController.
#include "onboarding/OnboardingKitController.h"

#include <QObject>
#include <QPointer>

class AccessibilityPermission;
class AppSettings;
class L10n;

class OnboardingWindowController : public QObject {
    Q_OBJECT
public:
    // `serviceHost`: the web service's host name, named by the consent page; empty when no
    // service is configured (the page's switches are then disabled: nothing is sent).
    OnboardingWindowController(AppSettings &settings, L10n &l10n, AccessibilityPermission &accessibility,
                               const QString &serviceHost, OnboardingKitController::Options options = {},
                               QObject *parent = nullptr);
    static OnboardingWindowController &shared();

    // Shows the guide (from the first page, or from the permission page).
    void show(bool startAtPermissions);
    // At launch: forced by NORVANE_ONBOARDING=1, else due when not completed,
    // or at the permission page when accessibility is not granted. True when shown.
    bool showAtLaunchIfDue();

    OnboardingKitController *kit() const { return m_kit; }

    QList<OKStep> makeSteps();
    OKStrings strings();

private:
    void complete();
    void refreshPage();
    QString text(const char *key) const;
    // A consent switch bound to its setting, or off and disabled while no service is configured.
    QWidget *consentRow(const char *titleKey, const char *bodyKey, const char *name, bool on,
                        std::function<void(bool)> setOn);

    AppSettings &m_settings;
    L10n &m_l10n;
    AccessibilityPermission &m_accessibility;
    QString m_serviceHost;
    OnboardingKitController::Options m_options;
    QPointer<OnboardingKitController> m_kit;
};
