// Part 2.5 `L10n`: bootstrap and resolution, apply with the "AppleLanguages" override and
// Qt's translations, live switching, look-up with its fallbacks, placeholder filling.
#include "fakes/TranslationFiles.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "platform/DefaultsStore.h"

#include <QJsonArray>
#include <QLabel>
#include <QLibraryInfo>
#include <QSignalSpy>
#include <QtTest>

namespace {

// A view as the interface builds them: it shows a catalogue text and rebuilds on change.
class TitleView : public QLabel {
public:
    TitleView(L10n &l10n, const QString &key)
    {
        auto render = [this, &l10n, key] { setText(l10n.string(key)); };
        render();
        QObject::connect(&l10n, &L10n::languageChanged, this, render);
    }
};

} // namespace

class L10nTest : public QObject {
    Q_OBJECT
    QStringList preferred{"en-US"};
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<FrameworkLanguage> framework;

    std::unique_ptr<L10n> make(const LocalizationTables::Tables &tables = LocalizationTables::tables())
    {
        return std::make_unique<L10n>(*defaults, *framework, [this] { return preferred; }, tables);
    }
    std::optional<QStringList> appleLanguages() const
    {
        return defaults->stringListValue("AppleLanguages");
    }

private slots:
    void init()
    {
        preferred = {"en-US"};
        framework.reset(); // removes the previous test's Qt translators
        defaults = std::make_unique<DefaultsStore>(QString());
        framework = std::make_unique<FrameworkLanguage>(
            std::vector<TranslationCatalog>{{QLibraryInfo::path(QLibraryInfo::TranslationsPath), "qtbase"}},
            [this] { return preferred; });
    }

    void startsInEnglish()
    {
        preferred = {"ja-JP"};
        auto l10n = make();
        QCOMPARE(l10n->language(), AppLanguage::en);
        QCOMPARE(l10n->property("language").value<AppLanguage>(), AppLanguage::en);
        QCOMPARE(l10n->string("menu.quit"), QStringLiteral("Quit Stashwell"));
    }

    void bootstrapWithoutStoredCodeResolvesTheSystemLanguage_data()
    {
        QTest::addColumn<QStringList>("system");
        QTest::addColumn<AppLanguage>("expected");
        // The resolution itself is AppLanguageTest's; here: bootstrap goes through it.
        QTest::newRow("pt-PT") << QStringList{"pt-PT"} << AppLanguage::ptBR;
        QTest::newRow("sv-SE, fr-FR") << QStringList{"sv-SE", "fr-FR"} << AppLanguage::fr;
        QTest::newRow("sv-SE") << QStringList{"sv-SE"} << AppLanguage::en;
    }

    void bootstrapWithoutStoredCodeResolvesTheSystemLanguage()
    {
        QFETCH(QStringList, system);
        QFETCH(AppLanguage, expected);
        preferred = system;
        defaults->set("AppleLanguages", QJsonArray{"de"}); // left over from an earlier choice
        auto l10n = make();
        l10n->bootstrap();
        QCOMPARE(l10n->language(), expected);
        QCOMPARE(l10n->systemDefault(), expected);
        QVERIFY(!defaults->contains("AppleLanguages"));
        QCOMPARE(framework->overrideCode(), std::nullopt);
        QVERIFY(framework->isInstalled());
    }

    void bootstrapAppliesTheStoredCode()
    {
        preferred = {"fr-FR"};
        defaults->set("languageCode", "de");
        auto l10n = make();
        l10n->bootstrap();
        QCOMPARE(l10n->language(), AppLanguage::de);
        QCOMPARE(appleLanguages(), QStringList{"de"});
        QCOMPARE(framework->overrideCode(), std::optional<QString>("de"));
        QCOMPARE(l10n->string("palette.noResults"), QStringLiteral("Keine Treffer"));
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), QStringLiteral("Abbrechen"));
    }

    void storedUpperCaseCodeCountsAsUnknown()
    {
        preferred = {"it-IT"};
        defaults->set("languageCode", "EN");
        defaults->set("AppleLanguages", QJsonArray{"EN"});
        auto l10n = make();
        l10n->bootstrap();
        QCOMPARE(l10n->language(), AppLanguage::it);
        QVERIFY(!defaults->contains("AppleLanguages"));
        QCOMPARE(framework->overrideCode(), std::nullopt);
    }

    void emptyOrMistypedStoredCodeMeansSystem()
    {
        preferred = {"nl-NL"};
        for (const QJsonValue &stored : {QJsonValue(""), QJsonValue(5), QJsonValue(QJsonArray{"de"}), QJsonValue("pt")}) {
            defaults->set("languageCode", stored);
            defaults->set("AppleLanguages", QJsonArray{"de"});
            auto l10n = make();
            l10n->bootstrap();
            QCOMPARE(l10n->language(), AppLanguage::nl);
            QVERIFY(!defaults->contains("AppleLanguages"));
        }
    }

    void choosingJapaneseThenSystemWritesThenRemovesTheOverrideAndSwitchesViewsAtOnce()
    {
        auto l10n = make();
        l10n->bootstrap();
        TitleView title(*l10n, "palette.noResults");
        QCOMPARE(title.text(), QStringLiteral("No matches"));
        QSignalSpy changed(l10n.get(), &L10n::languageChanged);

        l10n->apply(QStringLiteral("ja")); // the picker's "日本語"
        QCOMPARE(appleLanguages(), QStringList{"ja"});
        QCOMPARE(framework->overrideCode(), std::optional<QString>("ja"));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.takeFirst().at(0).value<AppLanguage>(), AppLanguage::ja);
        QCOMPARE(title.text(), QString::fromUtf8("一致する項目なし"));
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), QString::fromUtf8("キャンセル"));

        l10n->apply(std::nullopt); // the picker's "System"
        QVERIFY(!defaults->contains("AppleLanguages"));
        QCOMPARE(framework->overrideCode(), std::nullopt);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.takeFirst().at(0).value<AppLanguage>(), AppLanguage::en);
        QCOMPARE(title.text(), QStringLiteral("No matches"));
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), QStringLiteral("Cancel"));
    }

    void applyingTheCurrentLanguageAgainDoesNotRebuild()
    {
        auto l10n = make();
        l10n->apply(QStringLiteral("ko"));
        QSignalSpy changed(l10n.get(), &L10n::languageChanged);
        l10n->apply(QStringLiteral("ko"));
        QCOMPARE(changed.size(), 0);
        QCOMPARE(appleLanguages(), QStringList{"ko"});
    }

    void applyWithUnknownCodeBehavesLikeSystem()
    {
        preferred = {"pl-PL"};
        auto l10n = make();
        l10n->apply(QStringLiteral("de"));
        l10n->apply(QStringLiteral("xx"));
        QCOMPARE(l10n->language(), AppLanguage::pl);
        QVERIFY(!defaults->contains("AppleLanguages"));
        QCOMPARE(framework->overrideCode(), std::nullopt);
    }

    void everyLanguageCanBeChosen()
    {
        auto l10n = make();
        for (AppLanguage language : AppLanguages::allCases()) {
            l10n->apply(AppLanguages::rawValue(language));
            QCOMPARE(l10n->language(), language);
            QCOMPARE(appleLanguages(), QStringList{AppLanguages::rawValue(language)});
            QCOMPARE(l10n->string("menu.open"), LocalizationTables::table(language).value("menu.open"));
        }
    }

    void unknownKeyIsReturnedUnchangedInEveryLanguage()
    {
        auto l10n = make();
        for (AppLanguage language : AppLanguages::allCases()) {
            l10n->setLanguage(language);
            QCOMPARE(l10n->string("no.such.key"), QStringLiteral("no.such.key"));
            QCOMPARE(l10n->string(""), QString());
            QCOMPARE(l10n->string("no.such.key", AppLanguage::ja), QStringLiteral("no.such.key"));
        }
    }

    void missingKeyFallsBackToEnglishThenToTheKey()
    {
        LocalizationTables::Tables tables;
        tables.insert(AppLanguage::en, {{"a.both", "English both"}, {"a.englishOnly", "English only"}});
        tables.insert(AppLanguage::de, {{"a.both", "Deutsch beide"}});
        auto l10n = make(tables);
        l10n->setLanguage(AppLanguage::de);
        QCOMPARE(l10n->string("a.both"), QStringLiteral("Deutsch beide"));
        QCOMPARE(l10n->string("a.englishOnly"), QStringLiteral("English only"));
        QCOMPARE(l10n->string("a.none"), QStringLiteral("a.none"));
        l10n->setLanguage(AppLanguage::fr); // a language without any table
        QCOMPARE(l10n->string("a.both"), QStringLiteral("English both"));
    }

    void lookUpInAGivenLanguageForTheCompanion()
    {
        LocalizationTables::Tables tables;
        tables.insert(AppLanguage::en, {{"k", "en"}, {"only.en", "english"}});
        tables.insert(AppLanguage::de, {{"k", "de"}, {"only.de", "deutsch"}});
        tables.insert(AppLanguage::ja, {{"k", "ja"}});
        auto l10n = make(tables);
        l10n->setLanguage(AppLanguage::de);
        QCOMPARE(l10n->string("k", AppLanguage::ja), QStringLiteral("ja"));
        // Not in the companion's table: the application's own language, then English.
        QCOMPARE(l10n->string("only.de", AppLanguage::ja), QStringLiteral("deutsch"));
        QCOMPARE(l10n->string("only.en", AppLanguage::ja), QStringLiteral("english"));

        auto real = make();
        QCOMPARE(real->string("filter.image", AppLanguage::ja), QString::fromUtf8("画像"));
    }

    void placeholdersAreFilled()
    {
        auto l10n = make();
        QCOMPARE(l10n->format("hist.limitFmt", 500), QStringLiteral("500 items"));
        QCOMPARE(l10n->format("hist.retentionFmtDay", 1), QStringLiteral("1 day"));
        QCOMPARE(l10n->format("preview.files", 3), QStringLiteral("3 files"));
        QCOMPARE(l10n->format("about.version", QStringLiteral("1.4.2")), QStringLiteral("Version 1.4.2"));
        l10n->apply(QStringLiteral("ru"));
        QCOMPARE(l10n->format("preview.chars", 12), QString::fromUtf8("Символов: 12"));
        QCOMPARE(L10n::fill("no placeholder", "x"), QStringLiteral("no placeholder"));
        QCOMPARE(L10n::fill("%@ and %d", "1"), QStringLiteral("1 and %d"));
        QCOMPARE(L10n::fill("%d and %@", "1"), QStringLiteral("1 and %@"));
    }
};

QTEST_MAIN(L10nTest)
#include "L10nTest.moc"
