// Part 2.5 catalogue: fourteen complete tables, the spec's keys, placeholders, the line
// feed, the product name and the PLATFORM.md "Texts" adaptations in every language.
#include "L10nSpecCatalogue.h"
#include "l10n/LocalizationTables.h"

#include <QRegularExpression>
#include <QSet>
#include <QtTest>

namespace {

QString name(AppLanguage language)
{
    return AppLanguages::rawValue(language);
}

// PLATFORM.md "Texts" and "Keys" applied to a spec text (English).
QString adaptedForLinux(QString text)
{
    const std::pair<const char *, const char *> replacements[] = {
        {"⌘⇧V", "Super+Shift+V"},
        {"⌘V", "Ctrl+V"},
        {"⌘", "Ctrl+"},
        {"⌥", "Alt+"},
        {"⇧", "Shift+"},
        {"~/Library/Application Support/Stashwell", "~/.local/share/Stashwell"},
        {"System Settings", "Desktop Settings"},
    };
    for (const auto &[from, to] : replacements)
        text.replace(QString::fromUtf8(from), QString::fromUtf8(to));
    text.replace(QRegularExpression(QStringLiteral("\\bMacs\\b")), QStringLiteral("computers"));
    text.replace(QRegularExpression(QStringLiteral("\\bMac\\b")), QStringLiteral("computer"));
    return text;
}

QStringList placeholders(const QString &text)
{
    QStringList found;
    auto it = QRegularExpression(QStringLiteral("%[d@]")).globalMatch(text);
    while (it.hasNext())
        found << it.next().captured();
    return found;
}

// Tokens that must read the same in every language (keys, paths, marker names).
QStringList fixedTokens(const QString &text)
{
    QStringList found;
    for (const char *token : {"Ctrl+V", "Super+Shift+V", "Ctrl+⏎", "Alt+↩", "⏎", "~/.local/share/Stashwell",
                              "org.nspasteboard", "Stashwell"}) {
        if (text.contains(QString::fromUtf8(token)))
            found << QString::fromUtf8(token) + QLatin1Char(':') + QString::number(text.count(QString::fromUtf8(token)));
    }
    return found;
}

QSet<QString> specKeys()
{
    QSet<QString> keys;
    for (const SpecCatalogueEntry &entry : specCatalogue())
        keys.insert(QString::fromUtf8(entry.key));
    return keys;
}

} // namespace

class LocalizationTablesTest : public QObject {
    Q_OBJECT

private slots:
    void fourteenTablesInEnumerationOrder()
    {
        const auto &tables = LocalizationTables::tables();
        QCOMPARE(tables.size(), 14);
        const QList<AppLanguage> expected(AppLanguages::allCases().begin(), AppLanguages::allCases().end());
        QCOMPARE(tables.keys(), expected);
    }

    void builtOnceAndShared()
    {
        QCOMPARE(&LocalizationTables::tables(), &LocalizationTables::tables());
        for (AppLanguage language : AppLanguages::allCases())
            QCOMPARE(&LocalizationTables::table(language), &*LocalizationTables::tables().find(language));
    }

    void specListsUniqueKeys()
    {
        // The spec's prose speaks of 189 keys; its tables list these (and only these) keys.
        QCOMPARE(specKeys().size(), qsizetype(specCatalogue().size()));
        QCOMPARE(specKeys().size(), 149);
    }

    void everyTableHoldsExactlyTheSpecKeysWithNonEmptyTexts()
    {
        const QSet<QString> expected = specKeys();
        for (AppLanguage language : AppLanguages::allCases()) {
            const auto &table = LocalizationTables::table(language);
            const QList<QString> keys = table.keys();
            const QSet<QString> actual(keys.begin(), keys.end());
            QVERIFY2(actual == expected,
                     qPrintable(name(language) + ": missing " + QStringList((expected - actual).values()).join(',')
                                + "; extra " + QStringList((actual - expected).values()).join(',')));
            for (auto it = table.begin(); it != table.end(); ++it)
                QVERIFY2(!it.value().trimmed().isEmpty(), qPrintable(name(language) + ' ' + it.key()));
        }
    }

    void englishIsTheSpecTextAdaptedToLinux()
    {
        const auto &english = LocalizationTables::table(AppLanguage::en);
        for (const SpecCatalogueEntry &entry : specCatalogue()) {
            const QString key = QString::fromUtf8(entry.key);
            QCOMPARE(english.value(key), adaptedForLinux(QString::fromUtf8(entry.english)));
        }
        QCOMPARE(english.value("palette.emptyBody"),
                 QStringLiteral("Copy something and it will appear here.\nOpen this window anytime with Super+Shift+V."));
        QCOMPARE(english.value("hist.footer"),
                 QStringLiteral("History is stored locally in ~/.local/share/Stashwell and never leaves this computer."));
        QCOMPARE(english.value("toast.copiedManualPaste"), QString::fromUtf8("Copied — press Ctrl+V to paste"));
    }

    void placeholdersPreservedInEveryLanguage()
    {
        const auto &english = LocalizationTables::table(AppLanguage::en);
        int withPlaceholder = 0;
        for (auto it = english.begin(); it != english.end(); ++it) {
            const QStringList expected = placeholders(it.value());
            withPlaceholder += expected.isEmpty() ? 0 : 1;
            for (AppLanguage language : AppLanguages::allCases())
                QVERIFY2(placeholders(LocalizationTables::table(language).value(it.key())) == expected,
                         qPrintable(name(language) + ' ' + it.key()));
        }
        QCOMPARE(withPlaceholder, 6); // the five integer texts and about.version
        QCOMPARE(placeholders(english.value("about.version")), QStringList{"%@"});
        QCOMPARE(placeholders(english.value("hist.retentionFmtDay")), QStringList{"%d"});
    }

    void exactlyOneTextHasOneLineFeedInEveryLanguage()
    {
        for (AppLanguage language : AppLanguages::allCases()) {
            const auto &table = LocalizationTables::table(language);
            QStringList withLineFeed;
            for (auto it = table.begin(); it != table.end(); ++it) {
                if (it.value().contains(QLatin1Char('\n')))
                    withLineFeed << it.key();
            }
            QCOMPARE(withLineFeed, QStringList{"palette.emptyBody"});
            QCOMPARE(table.value("palette.emptyBody").count(QLatin1Char('\n')), 1);
        }
    }

    void productNameKeysAndPathsReadTheSameEverywhere()
    {
        const auto &english = LocalizationTables::table(AppLanguage::en);
        for (auto it = english.begin(); it != english.end(); ++it) {
            const QStringList expected = fixedTokens(it.value());
            for (AppLanguage language : AppLanguages::allCases()) {
                const QString text = LocalizationTables::table(language).value(it.key());
                QVERIFY2(fixedTokens(text) == expected, qPrintable(name(language) + ' ' + it.key() + ": " + text));
                // The product is always "Stashwell", never another spelling.
                QCOMPARE(text.count("stashwell", Qt::CaseInsensitive), text.count("Stashwell"));
            }
        }
    }

    void noMacPlatformWordsOrGlyphsRemain()
    {
        const QRegularExpression macWord(QStringLiteral("\\bMacs?\\b|macOS|Mac OS"));
        for (AppLanguage language : AppLanguages::allCases()) {
            const auto &table = LocalizationTables::table(language);
            for (auto it = table.begin(); it != table.end(); ++it) {
                const QString where = name(language) + ' ' + it.key() + ": " + it.value();
                for (const char *glyph : {"⌘", "⌥", "⇧", "⌃"})
                    QVERIFY2(!it.value().contains(QString::fromUtf8(glyph)), qPrintable(where));
                QVERIFY2(!macWord.match(it.value()).hasMatch(), qPrintable(where));
                QVERIFY2(!it.value().contains("Library/Application Support"), qPrintable(where));
                QVERIFY2(!it.value().contains("System Settings"), qPrintable(where));
                QVERIFY2(!it.value().contains("Finder"), qPrintable(where));
            }
        }
    }

    void otherLanguagesAreTranslations()
    {
        // Apart from words that are the same in a language (OK, Link, Filter, ...), the
        // thirteen other tables must not simply repeat the English text.
        const auto &english = LocalizationTables::table(AppLanguage::en);
        for (AppLanguage language : AppLanguages::allCases()) {
            if (language == AppLanguage::en)
                continue;
            const auto &table = LocalizationTables::table(language);
            int same = 0;
            for (auto it = english.begin(); it != english.end(); ++it)
                same += table.value(it.key()) == it.value() ? 1 : 0;
            QVERIFY2(same <= 8, qPrintable(name(language) + " repeats " + QString::number(same) + " English texts"));
            QVERIFY(table.value("menu.open") != english.value("menu.open"));
            QVERIFY(table.value("palette.noResults") != english.value("palette.noResults"));
        }
    }

    void companionFilterKeysExistForEveryKind()
    {
        for (const char *kind : {"text", "image", "link", "file", "color"}) {
            for (AppLanguage language : AppLanguages::allCases())
                QVERIFY(LocalizationTables::table(language).contains(QStringLiteral("filter.") + kind));
        }
    }
};

QTEST_GUILESS_MAIN(LocalizationTablesTest)
#include "LocalizationTablesTest.moc"
