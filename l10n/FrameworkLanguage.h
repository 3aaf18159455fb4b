// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The toolkit's own texts (standard buttons, file dialogs, ...) follow the chosen interface
// language. Qt keeps them in translation catalogues, such as "qtbase" in
// QLibraryInfo::TranslationsPath with one "qtbase_<lang>.qm" file per language.
// Redirecting the look-up means installing the chosen language's QTranslator of every
// catalogue into QCoreApplication (and making that language the default QLocale), replacing
// the ones installed before. Without an override Qt's own behaviour applies: the
// catalogues of the user's preferred system languages and the system locale.
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QTranslator>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class DefaultsStore;

struct TranslationCatalog {
    QString directory;
    QString name; // "qtbase"

    // The cache key's catalogue part.
    QString path() const { return directory + QLatin1Char('/') + name; }
    // The file of one language resource: "<name>_<resource>.qm"; the resource "Base" is the
    // catalogue's language-neutral file "<name>.qm".
    QString resourceFile(const QString &resource) const;
};

class FrameworkLanguage {
public:
    using PreferredLanguages = std::function<QStringList()>;

    FrameworkLanguage(std::vector<TranslationCatalog> catalogs, PreferredLanguages systemLanguages);
    ~FrameworkLanguage();
    FrameworkLanguage(const FrameworkLanguage &) = delete;
    FrameworkLanguage &operator=(const FrameworkLanguage &) = delete;

    static FrameworkLanguage &shared();

    // The override code; nothing means "no override in force". Callable from any thread.
    std::optional<QString> overrideCode() const;
    // Sets the override and, once the redirection is installed, switches Qt's texts at once.
    void setOverrideCode(const std::optional<QString> &code);

    // Once per process: from now on Qt's translations follow the override. Needs the
    // application object; before it exists this does nothing and a later call installs.
    void installRedirection();
    bool isInstalled() const;

    // At launch, before any window: the stored "AppleLanguages" override governs the
    // toolkit's texts until L10n::bootstrap runs.
    void installAtLaunch(const DefaultsStore &defaults);

    // The translator of `catalog` for `code`, or nothing. Found translators are cached
    // per catalogue and code for the process; a miss is not cached.
    std::shared_ptr<QTranslator> lproj(const TranslationCatalog &catalog, const QString &code);

    // The resource names tried for a code, in order: the code in Qt's file spelling, Qt's
    // region spelling of a Chinese script, the first two characters, "Base" for English.
    static QStringList candidates(const QString &code);

    // The translators currently installed into the application (for tests and diagnostics).
    std::vector<std::shared_ptr<QTranslator>> installedTranslators() const;

private:
    std::vector<std::shared_ptr<QTranslator>> translatorsFor(const std::optional<QString> &code);
    void activate(); // main thread

    const std::vector<TranslationCatalog> m_catalogs;
    const PreferredLanguages m_systemLanguages;

    // The lock guards the override and the cache only; it is never held while a file is
    // searched or loaded, nor while Qt is told about translators (which sends events).
    mutable QMutex m_lock;
    std::optional<QString> m_override;
    std::map<QString, std::shared_ptr<QTranslator>> m_cache;

    bool m_installed = false; // main thread
    std::vector<std::shared_ptr<QTranslator>> m_active;
};
