// SPDX-License-Identifier: GPL-3.0-or-later
// The interface language: the catalogue complete in every language and holding every key the
// code asks for, and live switching of Stashwell's texts and Qt's own.
#include "app/UpdaterStrings.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "palette/ClipKindStyle.h"
#include "platform/DefaultsStore.h"
#include "settings/SettingsTab.h"

#include <QDirIterator>
#include <QLabel>
#include <QLibraryInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

namespace {

// The placeholders and line breaks of a text, and how often it names what is never translated.
QStringList tokens(const QString &text)
{
    QStringList found;
    auto it = QRegularExpression(QStringLiteral("%(?:\\d|d|@|n)|\\n")).globalMatch(text);
    while (it.hasNext())
        found << it.next().captured();
    for (const char *fixed : {"Stashwell", "Ctrl+V", "Super+Shift+V", "~/.local/share/Stashwell"})
        found << QString::number(text.count(QLatin1String(fixed)));
    return found;
}

// Every quoted "prefix.name" in the code whose prefix is one of the catalogue's, and the keys
// the code builds from the tabs and the entry kinds.
QSet<QString> keysInTheCode(const QSet<QString> &prefixes)
{
    const QRegularExpression literal(QStringLiteral("\"([a-z]+)\\.([A-Za-z_]+)\""));
    QSet<QString> keys;
    for (const char *dir : {"app", "bridge", "capture", "cloud", "common", "diagnostics", "onboarding", "palette",
                            "paste", "platform", "settings"}) {
        QDirIterator files(STASHWELL_SOURCE_DIR "/" + QString(dir), {"*.cpp", "*.h"}, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            file.open(QIODevice::ReadOnly);
            for (auto it = literal.globalMatch(QString::fromUtf8(file.readAll())); it.hasNext();) {
                const auto match = it.next();
                if (prefixes.contains(match.captured(1)) && match.captured(0) != "\"palette.open\"") // an analytics event
                    keys.insert(match.captured(1) + '.' + match.captured(2));
            }
        }
    }
    for (SettingsTab tab : SettingsTabs::allCases())
        keys << SettingsTabs::titleKey(tab) << SettingsTabs::subtitleKey(tab);
    for (ClipKind kind : ClipKinds::all)
        keys << ClipKindStyle::filterKey(kind);
    return keys;
}

} // namespace

class L10nTest : public QObject {
    Q_OBJECT

private slots:
    void everyLanguageHasEveryTextWithTheEnglishPlaceholdersAndTokens()
    {
        const auto &english = LocalizationTables::table(AppLanguage::en);
        QCOMPARE(LocalizationTables::tables().size(), 14);
        for (AppLanguage language : AppLanguages::allCases()) {
            const auto &table = LocalizationTables::table(language);
            const QString code = AppLanguages::rawValue(language);
            QCOMPARE(QSet(table.keyBegin(), table.keyEnd()), QSet(english.keyBegin(), english.keyEnd()));
            for (auto it = english.begin(); it != english.end(); ++it) {
                const QString text = table.value(it.key());
                QVERIFY2(!text.trimmed().isEmpty(), qPrintable(code + ' ' + it.key()));
                QVERIFY2(tokens(text) == tokens(it.value()), qPrintable(code + ' ' + it.key() + ": " + text));
            }
            for (int key = 0; key < UpdaterStrings::keyCount; ++key) { // the update dialog's own texts
                const QString text = UpdaterStrings::text(UpdaterStrings::Key(key), language);
                QVERIFY(!text.trimmed().isEmpty());
                QCOMPARE(tokens(text), tokens(UpdaterStrings::text(UpdaterStrings::Key(key), AppLanguage::en)));
            }
        }
    }

    void noTextUsesAnotherDesktopsWords()
    {
        // "frontmost", the clipboard markers' type names and the "Accessibility" permission, in
        // English and as the languages once translated them.
        const QStringList foreign{"frontmost", "nspasteboard", "Accessibilit", "Barrierefreiheit", "Vordergrund",
                                  "Accesibilidad", "primer plano", "premier plan", "primo piano", "アクセシビリティ",
                                  "最前面に", "접근성", "맨 앞", "Toegankelijkheid", "voorgrond", "Dostępnoś",
                                  "pierwszym planie", "Acessibilidade", "primeiro plano", "Специальные возможности",
                                  "Erişilebilirlik", "öndeyken", "辅助功能", "無障礙", "最前方"};
        for (const auto &table : LocalizationTables::tables())
            for (auto it = table.begin(); it != table.end(); ++it)
                for (const QString &word : foreign)
                    QVERIFY2(!it.value().contains(word, Qt::CaseInsensitive), qPrintable(it.key() + ": " + it.value()));
    }

    void everyKeyTheCodeLooksUpIsInTheCatalogue()
    {
        const auto &english = LocalizationTables::table(AppLanguage::en);
        QSet<QString> prefixes;
        for (const QString &key : english.keys())
            prefixes.insert(key.section('.', 0, 0));
        const QSet<QString> used = keysInTheCode(prefixes);
        QVERIFY(used.size() > 100); // the scan found the code's look-ups
        const QSet<QString> missing = used - QSet(english.keyBegin(), english.keyEnd());
        QVERIFY2(missing.isEmpty(), qPrintable(QStringList(missing.values()).join(", ")));
    }

    void choosingALanguageRetranslatesVisibleTextsAndQtsAtOnce()
    {
        const auto system = [] { return QStringList{"en-US"}; };
        DefaultsStore defaults{QString()};
        FrameworkLanguage framework({{QLibraryInfo::path(QLibraryInfo::TranslationsPath), "qtbase"}}, system);
        auto l10n = std::make_unique<L10n>(defaults, framework, system);
        l10n->bootstrap();
        QLabel title; // a view as the interface builds them: it rebuilds its text on a change
        const auto render = [&] { title.setText(l10n->string("palette.noResults")); };
        render();
        connect(l10n.get(), &L10n::languageChanged, &title, render);
        QSignalSpy changed(l10n.get(), &L10n::languageChanged);

        l10n->apply(QStringLiteral("de"));
        QCOMPARE(title.text(), QStringLiteral("Keine Treffer"));
        QCOMPARE(defaults.stringListValue("AppleLanguages"), QStringList{"de"}); // applied again at the next launch
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), QStringLiteral("Abbrechen")); // Qt's own
        l10n->apply(QStringLiteral("de")); // the same again: nothing to rebuild
        QCOMPARE(changed.size(), 1);
        l10n->apply(QStringLiteral("xx")); // unknown: as "System"
        QCOMPARE(changed.size(), 2);
        QCOMPARE(title.text(), QStringLiteral("No matches"));
        QVERIFY(!defaults.contains("AppleLanguages"));
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), QStringLiteral("Cancel"));
    }
};

QTEST_MAIN(L10nTest)
#include "L10nTest.moc"
