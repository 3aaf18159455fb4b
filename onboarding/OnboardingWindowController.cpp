// SPDX-License-Identifier: GPL-3.0-or-later
#include "onboarding/OnboardingWindowController.h"

#include "app/AppSettings.h"
#include "l10n/L10n.h"
#include "onboarding/OKRootView.h"
#include "onboarding/OKViews.h"
#include "platform/GlobalHotKey.h"
#include "settings/AccessibilityPermission.h"

#include <QVBoxLayout>

namespace {

QWidget *column(std::initializer_list<QWidget *> widgets, int spacing = 18)
{
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    for (QWidget *widget : widgets)
        layout->addWidget(widget);
    return page;
}

} // namespace

OnboardingWindowController::OnboardingWindowController(AppSettings &settings, L10n &l10n,
                                                       AccessibilityPermission &accessibility, const QString &serviceHost,
                                                       OnboardingKitController::Options options, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_l10n(l10n)
    , m_accessibility(accessibility)
    , m_serviceHost(serviceHost)
    , m_options(std::move(options))
{
    // The pages are rebuilt in a new language or with a new hot key.
    connect(&l10n, &L10n::languageChanged, this, &OnboardingWindowController::refreshPage, Qt::QueuedConnection);
    connect(&settings, &AppSettings::changed, this, [this](const QString &key) {
        if (key == QLatin1String("hotKey"))
            QMetaObject::invokeMethod(this, &OnboardingWindowController::refreshPage, Qt::QueuedConnection);
    });
}

void OnboardingWindowController::refreshPage()
{
    if (m_kit && m_kit->rootView())
        m_kit->rootView()->refresh();
}

QString OnboardingWindowController::text(const char *key) const { return m_l10n.string(QString::fromLatin1(key)); }

QWidget *OnboardingWindowController::consentRow(const char *titleKey, const char *bodyKey, const char *name, bool on,
                                                std::function<void(bool)> setOn)
{
    const bool sendable = !m_serviceHost.isEmpty();
    const QString body = sendable ? m_l10n.format(QString::fromLatin1(bodyKey), m_serviceHost) : text("priv.noService");
    // Without a service the switch shows off and the stored choice is kept for later.
    auto *row = new OKConsentRow(text(titleKey), body, sendable && on, sendable ? std::move(setOn) : [](bool) {});
    row->toggle()->setObjectName(QString::fromLatin1(name));
    row->toggle()->setEnabled(sendable);
    return row;
}

void OnboardingWindowController::show(bool startAtPermissions)
{
    if (!m_kit) {
        m_kit = new OnboardingKitController(m_options, this);
        m_kit->makeSteps = [this] { return makeSteps(); };
        m_kit->strings = [this] { return strings(); };
        m_kit->onCompleted = [this] { complete(); };
        m_kit->onClosedByUser = [this] { complete(); };
    }
    m_kit->show(startAtPermissions);
}

bool OnboardingWindowController::showAtLaunchIfDue()
{
    if (OnboardingKitEnv::forced({}, m_options.environment) || !m_settings.onboardingCompleted()) {
        show(false);
        return true;
    }
    if (!m_accessibility.isTrusted()) {
        show(true);
        return true;
    }
    return false;
}

void OnboardingWindowController::complete()
{
    m_settings.setOnboardingCompleted(true);
    if (m_kit) {
        m_kit->deleteLater(); // we may be inside one of its calls; the next show builds a fresh one
        m_kit = nullptr;
    }
}

OKStrings OnboardingWindowController::strings()
{
    return {[this] { return text("onb.continue"); }, [this] { return text("onb.start"); },
            [this] { return text("onb.waiting"); }, [this] { return text("onb.skipPerm"); },
            [this] { return text("common.back"); }};
}

QList<OKStep> OnboardingWindowController::makeSteps()
{
    OKStep welcome;
    welcome.kind = OKStep::Kind::welcome;
    welcome.content = [this] {
        return column({new OKWelcomeHeader(QStringLiteral("Stashwell"), text("onb.welcomeBody"))});
    };

    OKStep permissions;
    permissions.kind = OKStep::Kind::permissions;
    permissions.skippable = true;
    permissions.requiredGranted = [this] { return m_accessibility.isTrusted(); };
    permissions.content = [this] {
        const OKPermissionRow::Texts texts{text("perm.ax"), text("perm.axWhy"), text("perm.axMissing"),
                                           text("perm.checkAgain"), text("perm.granted")};
        return column({new OKStepHeader(text("onb.permTitle"), text("onb.permBody")),
                       new OKPermissionRow(QStringLiteral("lock.shield.fill"), texts,
                                           [this] { return m_accessibility.isTrusted(); })},
                      22);
    };

    OKStep tutorial;
    tutorial.kind = OKStep::Kind::tutorial;
    tutorial.content = [this] {
        auto *hints = new QWidget;
        auto *rows = new QVBoxLayout(hints);
        rows->setContentsMargins(4, 0, 4, 0);
        rows->setSpacing(10);
        // The hot key as it is set, then the palette's shortcuts; ↩ is the Return key.
        rows->addWidget(new OKHintRow(GlobalHotKey::displayParts(m_settings.hotKeyCombination()), text("onb.tutOpen")));
        rows->addWidget(new OKHintRow({QStringLiteral("↩")}, text("onb.tutPaste")));
        rows->addWidget(new OKHintRow({QStringLiteral("Alt"), QStringLiteral("↩")}, text("onb.tutPlain")));
        rows->addWidget(new OKHintRow({QStringLiteral("Ctrl"), QStringLiteral("P")}, text("onb.tutPin")));
        return column({new OKStepHeader(text("onb.tutTitle"), text("onb.tutBody")),
                       new OKDemoCanvas(132, text("palette.searchPlaceholder")), hints});
    };

    OKStep consent;
    consent.kind = OKStep::Kind::consent;
    consent.content = [this] {
        QWidget *improve = consentRow("onb.improveTitle", "onb.improveBody", "improveDataSharing",
                                      m_settings.improveDataSharing(),
                                      [this](bool on) { m_settings.setImproveDataSharing(on); });
        QWidget *crash = consentRow("onb.crashTitle", "onb.crashBody", "crashReportingEnabled",
                                    m_settings.crashReportingEnabled(),
                                    [this](bool on) { m_settings.setCrashReportingEnabled(on); });
        return column({new OKReadyHeader(text("onb.readyTitle")), improve, crash}, 12);
    };

    return {welcome, permissions, tutorial, consent};
}
