#pragma once
// This application's first-run guide: its four pages, button
// texts and completion (onboardingCompleted), over the generic OnboardingKitController.
#include "onboarding/OnboardingKitController.h"

#include <QObject>
#include <QPointer>

class AccessibilityGrant;
class AppSettings;
class L10n;

class OnboardingWindowController : public QObject {
    Q_OBJECT
public:
    OnboardingWindowController(AppSettings &settings, L10n &l10n, AccessibilityGrant &accessibility,
                               OnboardingKitController::Options options = {}, QObject *parent = nullptr);
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
    QString text(const char *key) const;

    AppSettings &m_settings;
    L10n &m_l10n;
    AccessibilityGrant &m_accessibility;
    OnboardingKitController::Options m_options;
    QPointer<OnboardingKitController> m_kit;
};
