// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "l10n/L10n.h"
#include "settings/SettingsTabs.h"

namespace {
// A value outside the offered choices (set by sync or by hand) is still shown.
void addCurrent(MSDropdown::Options &options, qint64 current, const QString &label)
{
    for (const auto &option : options)
        if (option.first.toLongLong() == current)
            return;
    options.append({current, label});
}
} // namespace

HistoryTab::HistoryTab(SettingsServices &services, QWidget *parent)
    : SettingsTabPage(services, parent)
{
    AppSettings &settings = services.settings;
    HistoryStore &store = services.store;

    // Shown while the history cannot be written (a full or read-only disk).
    auto *failure = new SettingsRow(string("hist.saveFailed"), string("hist.saveFailedSub"));
    QPalette warning = failure->titleLabel()->palette();
    warning.setColor(QPalette::WindowText, PillTheme::warning());
    failure->titleLabel()->setPalette(warning);
    SettingsCard *failureCard = addCard();
    failureCard->setObjectName(QStringLiteral("saveFailed"));
    failureCard->addRow(failure);
    failureCard->setVisible(store.writeFailing());
    connect(&store, &HistoryStore::writeFailingChanged, failureCard, &QWidget::setVisible);

    SettingsCard *sizes = addCard();
    auto *limit = new MSDropdown(limitOptions(services.l10n, settings.historyLimit()), settings.historyLimit(),
                                 [&settings, &store](const QVariant &value) {
                                     settings.setHistoryLimit(value.toLongLong());
                                     store.prune();
                                 });
    limit->setObjectName(QStringLiteral("historyLimit"));
    sizes->addRow(new SettingsRow(string("hist.limit"), string("hist.limitSub"), limit));
    auto *retention = new MSDropdown(retentionOptions(services.l10n, settings.historyRetentionDays()),
                                     settings.historyRetentionDays(), [&settings, &store](const QVariant &value) {
                                         settings.setHistoryRetentionDays(value.toLongLong());
                                         store.prune();
                                     });
    retention->setObjectName(QStringLiteral("historyRetentionDays"));
    sizes->addRow(new SettingsRow(string("hist.retention"), string("hist.retentionSub"), retention));
    onSettingChanged("historyLimit", [limit, &settings] { limit->setSelected(settings.historyLimit()); });
    onSettingChanged("historyRetentionDays",
                     [retention, &settings] { retention->setSelected(settings.historyRetentionDays()); });

    SettingsCard *paste = addCard();
    paste->addRow(new SettingsRow(string("hist.copyOnly"), string("hist.copyOnlySub"),
                                  settingSwitch("copyInsteadOfPaste", &AppSettings::copyInsteadOfPaste,
                                                &AppSettings::setCopyInsteadOfPaste)));
    paste->addRow(new SettingsRow(string("hist.moveTop"), string("hist.moveTopSub"),
                                  settingSwitch("moveToTopOnPaste", &AppSettings::moveToTopOnPaste,
                                                &AppSettings::setMoveToTopOnPaste)));
    paste->addRow(new SettingsRow(string("hist.plain"), string("hist.plainSub"),
                                  settingSwitch("alwaysPlainText", &AppSettings::alwaysPlainText,
                                                &AppSettings::setAlwaysPlainText)));
    m_restoreRow = new SettingsRow(string("hist.restore"), string("hist.restoreSub"),
                                   settingSwitch("restoreClipboardAfterPaste", &AppSettings::restoreClipboardAfterPaste,
                                                 &AppSettings::setRestoreClipboardAfterPaste));
    m_restoreRow->setObjectName(QStringLiteral("restoreRow"));
    paste->addRow(m_restoreRow);
    paste->addRow(new SettingsRow(string("hist.clearQuit"), string("hist.clearQuitSub"),
                                  settingSwitch("clearOnQuit", &AppSettings::clearOnQuit, &AppSettings::setClearOnQuit)));
    refreshRestoreRow();
    onSettingChanged("copyInsteadOfPaste", [this] { refreshRestoreRow(); });

    auto *clear = new MSPillButton(string("hist.clearButton"), false, [this] {
        if (m_services.clearHistory)
            m_services.clearHistory();
    });
    clear->setObjectName(QStringLiteral("clearHistory"));
    addCard()->addRow(new SettingsRow(string("hist.clearNow"), string("hist.clearNowSub"), clear));

    addFooter(string("hist.footer"));
}

void HistoryTab::refreshRestoreRow()
{
    const bool copyOnly = m_services.settings.copyInsteadOfPaste();
    m_restoreRow->setRowEnabled(!copyOnly);
    m_restoreRow->setSubtitle(string(copyOnly ? "hist.restoreDisabledSub" : "hist.restoreSub"));
}

MSDropdown::Options HistoryTab::limitOptions(L10n &l10n, qint64 current)
{
    const QString key = QStringLiteral("hist.limitFmt");
    MSDropdown::Options options;
    for (qint64 n : AppSettings::historyLimitChoices)
        options.append({n, l10n.format(key, n)});
    addCurrent(options, current, l10n.format(key, current));
    return options;
}

MSDropdown::Options HistoryTab::retentionOptions(L10n &l10n, qint64 current)
{
    const auto label = [&l10n](qint64 days) {
        if (days == 0)
            return l10n.string(QStringLiteral("hist.retentionForever"));
        return l10n.format(days == 1 ? QStringLiteral("hist.retentionFmtDay") : QStringLiteral("hist.retentionFmtDays"),
                           days);
    };
    MSDropdown::Options options;
    for (qint64 days : {0, 1, 7, 30, 90})
        options.append({days, label(days)});
    addCurrent(options, current, label(current));
    return options;
}
