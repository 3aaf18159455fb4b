// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppSettings.h"
#include "l10n/L10n.h"
#include "settings/SettingsTabs.h"

#include <QIcon>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {
constexpr int iconSize = 72;
}

AboutTab::AboutTab(SettingsServices &services, QWidget *parent)
    : SettingsTabPage(services, parent)
{
    // 1. Identity.
    auto *identity = new QWidget;
    auto *column = new QVBoxLayout(identity);
    column->setContentsMargins(SettingsMetrics::rowHorizontal, 22, SettingsMetrics::rowHorizontal, 22);
    column->setSpacing(4);
    auto *icon = new QLabel;
    icon->setPixmap(QIcon(QStringLiteral(":/com.norvane.Stashwell.svg")).pixmap(QSize(iconSize, iconSize), devicePixelRatioF()));
    column->addWidget(icon, 0, Qt::AlignHCenter);
    column->addSpacing(6);
    auto *name = new QLabel(QStringLiteral("Stashwell"));
    name->setFont(SettingsText::scaled(name->font(), 1.5, QFont::Bold));
    column->addWidget(name, 0, Qt::AlignHCenter);
    auto *tagline = new QLabel(string("about.tagline"));
    tagline->setWordWrap(true);
    tagline->setAlignment(Qt::AlignHCenter);
    column->addWidget(tagline);
    auto *version = SettingsText::secondary(services.l10n.format(QStringLiteral("about.version"),
                                                                 displayVersion(services.version)));
    version->setObjectName(QStringLiteral("version"));
    version->setAlignment(Qt::AlignHCenter);
    column->addWidget(version);
    addCard()->addRow(identity);

    // 2. Updates and diagnostics.
    SettingsCard *card = addCard();
    card->setObjectName(QStringLiteral("diagnosticsCard"));
    if (services.updater) {
        auto *controls = new QWidget;
        auto *row = new QHBoxLayout(controls);
        row->setContentsMargins(0, 0, 0, 0);
        row->setSpacing(12);
        auto *checkNow = new MSPillButton(string("common.checkNow"), false, [this] { m_services.updater->checkNow(); });
        checkNow->setObjectName(QStringLiteral("checkNow"));
        m_autoUpdate = new PillSwitch(services.updater->automaticChecks());
        m_autoUpdate->setObjectName(QStringLiteral("automaticChecks"));
        connect(m_autoUpdate, &QAbstractButton::toggled, this,
                [this](bool on) { m_services.updater->setAutomaticChecks(on); });
        row->addWidget(checkNow);
        row->addWidget(m_autoUpdate);
        card->addRow(new SettingsRow(string("gen.autoUpdate"), string("gen.autoUpdateSub"), controls));
    }
    card->addRow(diagnosticsRow("gen.crashReports", "gen.crashReportsSub", "crashReportingEnabled",
                                &AppSettings::crashReportingEnabled, &AppSettings::setCrashReportingEnabled));
    card->addRow(diagnosticsRow("priv.improve", "priv.improveSub", "improveDataSharing",
                                &AppSettings::improveDataSharing, &AppSettings::setImproveDataSharing));
}

SettingsRow *AboutTab::diagnosticsRow(const char *titleKey, const char *subtitleKey, const char *key,
                                      bool (AppSettings::*get)() const, void (AppSettings::*set)(bool))
{
    if (m_services.serviceHost.isEmpty()) {
        // Nothing can be sent: the switch shows off and the stored choice is kept for later.
        // The row's texts stay legible: they say why.
        auto *off = new PillSwitch(false);
        off->setObjectName(QString::fromLatin1(key));
        off->setEnabled(false);
        return new SettingsRow(string(titleKey), string("priv.noService"), off);
    }
    const QString subtitle = m_services.l10n.format(QString::fromLatin1(subtitleKey), m_services.serviceHost);
    return new SettingsRow(string(titleKey), subtitle, settingSwitch(key, get, set));
}

QString AboutTab::displayVersion(const QString &version)
{
    return version.isEmpty() ? QStringLiteral("0.1.0 (dev)") : version;
}

void AboutTab::showEvent(QShowEvent *)
{
    if (m_autoUpdate) {
        const QSignalBlocker block(m_autoUpdate);
        m_autoUpdate->setChecked(m_services.updater->automaticChecks());
    }
}
