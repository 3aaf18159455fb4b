// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppSettings.h"
#include "l10n/L10n.h"
#include "platform/GlobalHotKey.h"
#include "settings/HotKeyRecorder.h"
#include "settings/SettingsTabs.h"

#include <QGuiApplication>

GeneralTab::GeneralTab(SettingsServices &services, QWidget *parent)
    : SettingsTabPage(services, parent)
{
    m_hotKeyRecorder = new HotKeyRecorder(services.settings.hotKeyCombination(), string("gen.hotkeyRecording"));
    m_hotKeyRecorder->setToolTip(string("gen.hotkeyHint"));
    m_hotKeyRow = new SettingsRow(string("gen.hotkey"), string("gen.hotkeySub"), m_hotKeyRecorder);
    addCard()->addRow(m_hotKeyRow);
    connect(m_hotKeyRecorder, &HotKeyRecorder::chosen, this, [this](QKeyCombination combination) {
        m_services.settings.setHotKey(GlobalHotKey::portableText(combination));
    });
    onSettingChanged("hotKey", [this] { refreshHotKeyRow(); });
    if (services.hotKey) {
        connect(services.hotKey, &GlobalHotKey::statusChanged, this, &GeneralTab::refreshHotKeyRow);
        connect(m_hotKeyRecorder, &HotKeyRecorder::recordingChanged, services.hotKey, &GlobalHotKey::setSuspended);
    }
    refreshHotKeyRow();

    SettingsCard *card = addCard();
    PillSwitch *login = settingSwitch("launchAtLogin", &AppSettings::launchAtLogin, &AppSettings::setLaunchAtLogin);
    // A copy run from its build tree does not register itself: the row says so, the switch shows off.
    const bool loginAvailable = services.settings.launchAtLoginAvailable();
    if (!loginAvailable) {
        const QSignalBlocker quiet(login);
        login->setChecked(false);
        login->setEnabled(false);
    }
    const QString loginNote = loginAvailable ? QString() : string("gen.launchLoginUninstalled");
    card->addRow(new SettingsRow(string("gen.launchLogin"), loginNote, login));
    auto *language = new MSDropdown(languageOptions(services.l10n), services.settings.languageCode().value_or(QString()),
                                    [this](const QVariant &code) { chooseLanguage(code.toString()); });
    language->setObjectName(QStringLiteral("languageCode"));
    card->addRow(new SettingsRow(string("gen.language"), string("gen.languageSub"), language));
    onSettingChanged("languageCode", [this, language] {
        language->setSelected(m_services.settings.languageCode().value_or(QString()));
    });

    // What leaves the computer, and where to; nothing at all without a web service.
    const QString &host = services.serviceHost;
    addFooter(host.isEmpty() ? string("gen.footer") : services.l10n.format(QStringLiteral("gen.footerService"), host));
}

void GeneralTab::refreshHotKeyRow()
{
    const QKeyCombination combination = m_services.settings.hotKeyCombination();
    m_hotKeyRecorder->setCombination(combination);
    const GlobalHotKey *hotKey = m_services.hotKey;
    const bool taken = hotKey && hotKey->status() == GlobalHotKey::Status::taken && hotKey->combination() == combination;
    // On Wayland, unless the desktop's portal binds it, no program gets a key: the row says how to
    // bind `stashwell toggle` instead.
    const bool noGlobalKeys = hotKey && hotKey->status() == GlobalHotKey::Status::unavailable
        && QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
    m_hotKeyRow->setSubtitle(taken          ? m_services.l10n.format(QStringLiteral("gen.hotkeyTaken"),
                                                                     GlobalHotKey::displayText(combination))
                             : noGlobalKeys ? string("gen.hotkeyWayland")
                                            : string("gen.hotkeySub"));
    QPalette palette = m_hotKeyRow->subtitleLabel()->palette();
    palette.setColor(QPalette::WindowText, taken || noGlobalKeys ? PillTheme::warning() : PillTheme::secondaryText(palette));
    m_hotKeyRow->subtitleLabel()->setPalette(palette);
}

MSDropdown::Options GeneralTab::languageOptions(L10n &l10n)
{
    MSDropdown::Options options{{QString(), l10n.string(QStringLiteral("common.systemDefault"))}};
    for (AppLanguage language : AppLanguages::allCases())
        options.append({AppLanguages::rawValue(language), AppLanguages::displayName(language)});
    return options;
}

void GeneralTab::chooseLanguage(const QString &code)
{
    const std::optional<QString> value = code.isEmpty() ? std::nullopt : std::optional<QString>(code);
    m_services.settings.setLanguageCode(value);
    m_services.l10n.apply(value);
}
