// SPDX-License-Identifier: GPL-3.0-or-later
#include "l10n/FrameworkLanguage.h"

#include "l10n/AppLanguage.h"
#include "platform/DefaultsStore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <algorithm>

QString TranslationCatalog::resourceFile(const QString &resource) const
{
    if (resource == QLatin1String("Base"))
        return path() + QLatin1String(".qm");
    return path() + QLatin1Char('_') + resource + QLatin1String(".qm");
}

FrameworkLanguage::FrameworkLanguage(std::vector<TranslationCatalog> catalogs, PreferredLanguages systemLanguages)
    : m_catalogs(std::move(catalogs))
    , m_systemLanguages(std::move(systemLanguages))
{
}

FrameworkLanguage::~FrameworkLanguage()
{
    if (QCoreApplication::instance()) {
        for (const auto &translator : m_active)
            QCoreApplication::removeTranslator(translator.get());
    }
}

std::optional<QString> FrameworkLanguage::overrideCode() const
{
    QMutexLocker locker(&m_lock);
    return m_override;
}

void FrameworkLanguage::setOverrideCode(const std::optional<QString> &code)
{
    {
        QMutexLocker locker(&m_lock);
        m_override = code;
    }
    if (m_installed)
        activate();
}

void FrameworkLanguage::installRedirection()
{
    if (m_installed || !QCoreApplication::instance())
        return;
    m_installed = true;
    activate();
}

bool FrameworkLanguage::isInstalled() const
{
    return m_installed;
}

void FrameworkLanguage::installAtLaunch(const DefaultsStore &defaults)
{
    const auto stored = defaults.stringListValue(QStringLiteral("AppleLanguages"));
    if (stored && !stored->isEmpty() && AppLanguages::fromRawValue(stored->first())) {
        QMutexLocker locker(&m_lock);
        m_override = stored->first();
    }
    installRedirection();
}

QStringList FrameworkLanguage::candidates(const QString &code)
{
    QStringList names;
    auto add = [&names](const QString &name) {
        if (!name.isEmpty() && !names.contains(name))
            names << name;
    };
    add(QString(code).replace(QLatin1Char('-'), QLatin1Char('_')));
    const QString lowered = code.toLower();
    if (lowered.startsWith(QLatin1String("zh")))
        add(AppLanguages::systemDefault({code}) == AppLanguage::zhHant ? QStringLiteral("zh_TW") : QStringLiteral("zh_CN"));
    if (code.left(2) != code)
        add(code.left(2));
    if (code.startsWith(QLatin1String("en")))
        add(QStringLiteral("Base"));
    return names;
}

std::shared_ptr<QTranslator> FrameworkLanguage::lproj(const TranslationCatalog &catalog, const QString &code)
{
    const QString key = catalog.path() + QLatin1Char('|') + code;
    {
        QMutexLocker locker(&m_lock);
        if (const auto it = m_cache.find(key); it != m_cache.end())
            return it->second;
    }
    for (const QString &resource : candidates(code)) {
        const QString file = catalog.resourceFile(resource);
        if (!QFileInfo::exists(file))
            continue;
        auto translator = std::make_shared<QTranslator>();
        if (!translator->load(file))
            continue;
        if (const QCoreApplication *app = QCoreApplication::instance())
            translator->moveToThread(app->thread()); // it outlives a searching worker thread
        // Two threads may both get here; the later insertion replaces the earlier one.
        QMutexLocker locker(&m_lock);
        m_cache[key] = translator;
        return translator;
    }
    return nullptr;
}

std::vector<std::shared_ptr<QTranslator>> FrameworkLanguage::installedTranslators() const
{
    return m_active;
}

std::vector<std::shared_ptr<QTranslator>> FrameworkLanguage::translatorsFor(const std::optional<QString> &code)
{
    // The override's resource when the catalogue has one; otherwise the platform's
    // behaviour: the first of the system's preferred languages that the catalogue has.
    QStringList languages = m_systemLanguages ? m_systemLanguages() : QStringList();
    if (code)
        languages.prepend(*code);
    std::vector<std::shared_ptr<QTranslator>> chosen;
    for (const TranslationCatalog &catalog : m_catalogs) {
        for (const QString &language : languages) {
            if (auto translator = lproj(catalog, language)) {
                chosen.push_back(std::move(translator));
                break;
            }
        }
    }
    return chosen;
}

void FrameworkLanguage::activate()
{
    const std::optional<QString> code = overrideCode();
    const auto language = code ? AppLanguages::fromRawValue(*code) : std::nullopt;
    QLocale::setDefault(language ? AppLanguages::locale(*language) : QLocale::system());

    auto next = translatorsFor(code);
    auto contains = [](const auto &list, const auto &item) {
        return std::find(list.begin(), list.end(), item) != list.end();
    };
    for (const auto &translator : m_active) {
        if (!contains(next, translator))
            QCoreApplication::removeTranslator(translator.get());
    }
    for (const auto &translator : next) {
        if (!contains(m_active, translator))
            QCoreApplication::installTranslator(translator.get());
    }
    m_active = std::move(next);
}
