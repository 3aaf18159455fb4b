// Part 2.5 `AppLanguage`: cases, codes, own-language names, exact construction, and the
// resolution from the system's preferred languages.
#include "l10n/AppLanguage.h"

#include <QtTest>

class AppLanguageTest : public QObject {
    Q_OBJECT

private slots:
    void fourteenCasesInPickerOrderWithCodesAndNames()
    {
        const std::pair<AppLanguage, std::pair<const char *, const char *>> expected[] = {
            {AppLanguage::en, {"en", "English"}},
            {AppLanguage::ja, {"ja", "日本語"}},
            {AppLanguage::ko, {"ko", "한국어"}},
            {AppLanguage::zhHans, {"zh-Hans", "简体中文"}},
            {AppLanguage::zhHant, {"zh-Hant", "繁體中文"}},
            {AppLanguage::de, {"de", "Deutsch"}},
            {AppLanguage::fr, {"fr", "Français"}},
            {AppLanguage::es, {"es", "Español"}},
            {AppLanguage::ptBR, {"pt-BR", "Português (Brasil)"}},
            {AppLanguage::ru, {"ru", "Русский"}},
            {AppLanguage::it, {"it", "Italiano"}},
            {AppLanguage::nl, {"nl", "Nederlands"}},
            {AppLanguage::pl, {"pl", "Polski"}},
            {AppLanguage::tr, {"tr", "Türkçe"}},
        };
        const auto &all = AppLanguages::allCases();
        QCOMPARE(all.size(), std::size(expected));
        for (size_t i = 0; i < all.size(); ++i) {
            QCOMPARE(all[i], expected[i].first);
            QCOMPARE(AppLanguages::rawValue(all[i]), QString::fromUtf8(expected[i].second.first));
            QCOMPARE(AppLanguages::id(all[i]), AppLanguages::rawValue(all[i]));
            QCOMPARE(AppLanguages::displayName(all[i]), QString::fromUtf8(expected[i].second.second));
        }
    }

    void constructionFromRawValueIsExact()
    {
        for (AppLanguage language : AppLanguages::allCases())
            QCOMPARE(AppLanguages::fromRawValue(AppLanguages::rawValue(language)), language);
        for (const char *code : {"", "pt", "zh", "EN", "En", "en ", " en", "en-US", "pt-br", "zh-hans", "zh-CN",
                                 "zh_Hans", "pt_BR", "sv", "english"})
            QVERIFY2(!AppLanguages::fromRawValue(QString::fromLatin1(code)), code);
    }

    void systemDefault_data()
    {
        QTest::addColumn<QStringList>("preferred");
        QTest::addColumn<AppLanguage>("expected");
        // The spec's edge cases.
        QTest::newRow("en-GB") << QStringList{"en-GB"} << AppLanguage::en;
        QTest::newRow("pt-PT") << QStringList{"pt-PT"} << AppLanguage::ptBR;
        QTest::newRow("zh-Hant-TW") << QStringList{"zh-Hant-TW"} << AppLanguage::zhHant;
        QTest::newRow("zh-HK") << QStringList{"zh-HK"} << AppLanguage::zhHant;
        QTest::newRow("zh-Hans-CN") << QStringList{"zh-Hans-CN"} << AppLanguage::zhHans;
        QTest::newRow("sv-SE, fr-FR") << QStringList{"sv-SE", "fr-FR"} << AppLanguage::fr;
        QTest::newRow("sv-SE") << QStringList{"sv-SE"} << AppLanguage::en;
        // More of the matching rules.
        QTest::newRow("empty list") << QStringList{} << AppLanguage::en;
        QTest::newRow("pt") << QStringList{"pt"} << AppLanguage::ptBR;
        QTest::newRow("pt-BR") << QStringList{"pt-BR"} << AppLanguage::ptBR;
        QTest::newRow("zh-TW") << QStringList{"zh-TW"} << AppLanguage::zhHant;
        QTest::newRow("zh-MO") << QStringList{"zh-MO"} << AppLanguage::zhHant;
        QTest::newRow("zh-Hant") << QStringList{"zh-Hant"} << AppLanguage::zhHant;
        QTest::newRow("zh") << QStringList{"zh"} << AppLanguage::zhHans;
        QTest::newRow("zh-CN") << QStringList{"zh-CN"} << AppLanguage::zhHans;
        QTest::newRow("zh-SG") << QStringList{"zh-SG"} << AppLanguage::zhHans;
        QTest::newRow("POSIX zh_TW") << QStringList{"zh_TW"} << AppLanguage::zhHant;
        QTest::newRow("ja-JP") << QStringList{"ja-JP"} << AppLanguage::ja;
        QTest::newRow("upper case JA") << QStringList{"JA"} << AppLanguage::ja;
        QTest::newRow("ko-KR") << QStringList{"ko-KR"} << AppLanguage::ko;
        QTest::newRow("de-AT") << QStringList{"de-AT"} << AppLanguage::de;
        QTest::newRow("POSIX de_DE") << QStringList{"de_DE"} << AppLanguage::de;
        QTest::newRow("fr-CA") << QStringList{"fr-CA"} << AppLanguage::fr;
        QTest::newRow("es-419") << QStringList{"es-419"} << AppLanguage::es;
        QTest::newRow("ru") << QStringList{"ru-RU"} << AppLanguage::ru;
        QTest::newRow("it") << QStringList{"it-IT"} << AppLanguage::it;
        QTest::newRow("nl-BE") << QStringList{"nl-BE"} << AppLanguage::nl;
        QTest::newRow("pl") << QStringList{"pl-PL"} << AppLanguage::pl;
        QTest::newRow("tr") << QStringList{"tr-TR"} << AppLanguage::tr;
        QTest::newRow("first supported wins") << QStringList{"de-DE", "fr-FR"} << AppLanguage::de;
        QTest::newRow("en before later entries") << QStringList{"en-US", "ja-JP"} << AppLanguage::en;
        QTest::newRow("several unsupported") << QStringList{"sv", "fi", "uk", "ko"} << AppLanguage::ko;
        QTest::newRow("junk entries") << QStringList{"", "C", "x"} << AppLanguage::en;
    }

    void systemDefault()
    {
        QFETCH(QStringList, preferred);
        QFETCH(AppLanguage, expected);
        QCOMPARE(AppLanguages::systemDefault(preferred), expected);
    }

    void localeSpeaksTheLanguage()
    {
        QCOMPARE(AppLanguages::locale(AppLanguage::de).language(), QLocale::German);
        QCOMPARE(AppLanguages::locale(AppLanguage::ptBR).territory(), QLocale::Brazil);
        QCOMPARE(AppLanguages::locale(AppLanguage::zhHant).script(), QLocale::TraditionalChineseScript);
        QCOMPARE(AppLanguages::locale(AppLanguage::zhHans).script(), QLocale::SimplifiedChineseScript);
        for (AppLanguage language : AppLanguages::allCases())
            QVERIFY(AppLanguages::locale(language).language() != QLocale::C);
    }
};

QTEST_GUILESS_MAIN(AppLanguageTest)
#include "AppLanguageTest.moc"
