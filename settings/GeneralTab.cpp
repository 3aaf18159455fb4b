#include "app/AppSettings.h"
#include "l10n/L10n.h"
#include "settings/SettingsTabs.h"

GeneralTab::GeneralTab(SettingsServices &services, QWidget *parent)
    : SettingsTabPage(services, parent)
{
    addCard()->addRow(new SettingsRow(string("gen.hotkey"), string("gen.hotkeySub"), new KeyComboChips(hotKeyCaps())));

    SettingsCard *card = addCard();
    card->addRow(new SettingsRow(string("gen.launchLogin"), {},
                                 settingSwitch("launchAtLogin", &AppSettings::launchAtLogin,
                                               &AppSettings::setLaunchAtLogin)));
    auto *language = new MSDropdown(languageOptions(services.l10n), services.settings.languageCode().value_or(QString()),
                                    [this](const QVariant &code) { chooseLanguage(code.toString()); });
    language->setObjectName(QStringLiteral("languageCode"));
    card->addRow(new SettingsRow(string("gen.language"), string("gen.languageSub"), language));
    onSettingChanged("languageCode", [this, language] {
        language->setSelected(m_services.settings.languageCode().value_or(QString()));
    });

    addFooter(string("gen.footer"));
}

QStringList GeneralTab::hotKeyCaps()
{
    return {QStringLiteral("Super"), QStringLiteral("Shift"), QStringLiteral("V")};
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
