// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The current interface language and the catalogue look-up. Every text the
// interface shows comes from L10n::shared().string(key); views connect to languageChanged
// and rebuild their texts, so a new choice takes effect at once, without a restart.
#include "l10n/AppLanguage.h"
#include "l10n/LocalizationTables.h"

#include <QObject>
#include <QString>
#include <functional>
#include <optional>

class DefaultsStore;
class FrameworkLanguage;

class L10n : public QObject {
    Q_OBJECT
    Q_PROPERTY(AppLanguage language READ language WRITE setLanguage NOTIFY languageChanged)
public:
    using PreferredLanguages = std::function<QStringList()>;

    // `preferredLanguages` gives the user's ordered preferred languages (in the app:
    // QLocale::system().uiLanguages()); it is read whenever the system default is resolved.
    // `tables` is the catalogue (tests pass a reduced one to exercise the fallbacks).
    L10n(DefaultsStore &defaults, FrameworkLanguage &framework, PreferredLanguages preferredLanguages,
         const LocalizationTables::Tables &tables = LocalizationTables::tables(), QObject *parent = nullptr);
    static L10n &shared();

    AppLanguage language() const { return m_language; }
    void setLanguage(AppLanguage language);

    // At launch, before any window: applies the stored "languageCode" (or the system's).
    void bootstrap();
    // Makes a language current: a code naming one of the fourteen languages selects it and
    // is pushed to the platform ("AppleLanguages", Qt's translations); anything else, or no
    // code, means "System". Called by the language picker after it stored languageCode.
    void apply(const std::optional<QString> &code);

    // The language resolved from the user's preferred languages.
    AppLanguage systemDefault() const;

    // The text of `key` in the current language, else in English, else the key itself.
    QString string(const QString &key) const;
    // The text of `key` in `language` when its table has it, else string(key).
    QString string(const QString &key, AppLanguage language) const;

    // string(key) with its one placeholder ("%d" or "%@") filled.
    QString format(const QString &key, qint64 number) const;
    QString format(const QString &key, const QString &value) const;
    // Fills the first "%d" or "%@" of `text`; a text without one is returned unchanged.
    static QString fill(QString text, const QString &value);

signals:
    void languageChanged(AppLanguage language);

private:
    void synchronisePlatformOverride(const std::optional<AppLanguage> &language);
    std::optional<QString> lookUp(AppLanguage language, const QString &key) const;

    DefaultsStore &m_defaults;
    FrameworkLanguage &m_framework;
    PreferredLanguages m_preferredLanguages;
    const LocalizationTables::Tables &m_tables;
    AppLanguage m_language = AppLanguage::en;
};
