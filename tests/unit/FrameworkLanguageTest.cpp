// Part 2.5 `FrameworkLanguage` on Qt: language resources of a translation catalogue, the
// cache, the override, and Qt's own texts (qtbase) following the chosen language.
#include "fakes/TranslationFiles.h"
#include "l10n/FrameworkLanguage.h"
#include "platform/DefaultsStore.h"

#include <QDialogButtonBox>
#include <QJsonArray>
#include <QLibraryInfo>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>
#include <thread>

namespace {

QString qtCancel()
{
    return QCoreApplication::translate("QPlatformTheme", "Cancel");
}

TranslationCatalog qtbase()
{
    return {QLibraryInfo::path(QLibraryInfo::TranslationsPath), QStringLiteral("qtbase")};
}

QString fileName(const std::shared_ptr<QTranslator> &translator)
{
    return translator ? QFileInfo(translator->filePath()).fileName() : QString();
}

} // namespace

class FrameworkLanguageTest : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    TranslationCatalog catalog() const { return {dir.path(), QStringLiteral("cat")}; }
    QString file(const char *name) const { return dir.filePath(QString::fromLatin1(name)); }

private slots:
    void init()
    {
        QVERIFY(dir.isValid());
        QDir(dir.path()).removeRecursively();
        QDir().mkpath(dir.path());
    }

    void candidateNamesFollowTheSpecInQtSpelling()
    {
        QCOMPARE(FrameworkLanguage::candidates("de"), QStringList{"de"});
        QCOMPARE(FrameworkLanguage::candidates("pt-BR"), (QStringList{"pt_BR", "pt"}));
        QCOMPARE(FrameworkLanguage::candidates("zh-Hans"), (QStringList{"zh_Hans", "zh_CN", "zh"}));
        QCOMPARE(FrameworkLanguage::candidates("zh-Hant"), (QStringList{"zh_Hant", "zh_TW", "zh"}));
        QCOMPARE(FrameworkLanguage::candidates("en"), (QStringList{"en", "Base"}));
        QCOMPARE(FrameworkLanguage::candidates("en-GB"), (QStringList{"en_GB", "en", "Base"}));
        QCOMPARE(FrameworkLanguage::candidates(""), QStringList{});
    }

    void resourceNamedPtServesBrazilianPortuguese()
    {
        QVERIFY(TranslationFiles::write(file("cat_pt.qm")));
        FrameworkLanguage framework({catalog()}, {});
        QCOMPARE(fileName(framework.lproj(catalog(), "pt-BR")), QStringLiteral("cat_pt.qm"));
    }

    void baseResourceServesEnglish()
    {
        QVERIFY(TranslationFiles::write(file("cat.qm")));
        FrameworkLanguage framework({catalog()}, {});
        QCOMPARE(fileName(framework.lproj(catalog(), "en")), QStringLiteral("cat.qm"));
        QVERIFY(!framework.lproj(catalog(), "de")); // Base is for English only
    }

    void firstCandidateThatOpensWins()
    {
        QVERIFY(TranslationFiles::write(file("cat_pt_BR.qm")));
        QVERIFY(TranslationFiles::write(file("cat_pt.qm")));
        QVERIFY(TranslationFiles::write(file("cat_zh_Hant.qm"), "not a translation file"));
        QVERIFY(TranslationFiles::write(file("cat_zh_TW.qm")));
        FrameworkLanguage framework({catalog()}, {});
        QCOMPARE(fileName(framework.lproj(catalog(), "pt-BR")), QStringLiteral("cat_pt_BR.qm"));
        QCOMPARE(fileName(framework.lproj(catalog(), "zh-Hant")), QStringLiteral("cat_zh_TW.qm"));
    }

    void foundResourcesAreCachedMissesAreNot()
    {
        FrameworkLanguage framework({catalog()}, {});
        QVERIFY(!framework.lproj(catalog(), "de"));
        QVERIFY(TranslationFiles::write(file("cat_de.qm")));
        const auto found = framework.lproj(catalog(), "de"); // the miss was not cached
        QVERIFY(found);
        QVERIFY(QFile::remove(file("cat_de.qm")));
        QCOMPARE(framework.lproj(catalog(), "de"), found); // the hit was
        // The cache key holds the catalogue and the code.
        QVERIFY(!framework.lproj({dir.path(), QStringLiteral("other")}, "de"));
    }

    void concurrentLookUpsAreSafe()
    {
        QVERIFY(TranslationFiles::write(file("cat_fr.qm")));
        FrameworkLanguage framework({catalog()}, {});
        std::atomic<int> found = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&] {
                for (int n = 0; n < 50; ++n) {
                    found += framework.lproj(catalog(), "fr") ? 1 : 0;
                    framework.setOverrideCode(n % 2 ? std::optional<QString>("fr") : std::nullopt);
                    (void)framework.overrideCode();
                }
            });
        }
        for (auto &thread : threads)
            thread.join();
        QCOMPARE(found.load(), 400);
    }

    void nothingIsInstalledUntilTheRedirectionIs()
    {
        FrameworkLanguage framework({qtbase()}, [] { return QStringList{"en-US"}; });
        framework.setOverrideCode("de");
        QCOMPARE(framework.overrideCode(), std::optional<QString>("de"));
        QVERIFY(!framework.isInstalled());
        QVERIFY(framework.installedTranslators().empty());
        QCOMPARE(qtCancel(), QStringLiteral("Cancel"));

        framework.installRedirection();
        QVERIFY(framework.isInstalled());
        QCOMPARE(framework.installedTranslators().size(), size_t(1));
        QCOMPARE(qtCancel(), QStringLiteral("Abbrechen"));
    }

    void qtTextsFollowTheOverrideLive()
    {
        FrameworkLanguage framework({qtbase()}, [] { return QStringList{"en-US"}; });
        framework.installRedirection();
        QDialogButtonBox buttons(QDialogButtonBox::Cancel);
        buttons.show();

        framework.setOverrideCode("de");
        QCOMPARE(qtCancel(), QStringLiteral("Abbrechen"));
        QCOMPARE(QLocale().language(), QLocale::German);
        QTRY_COMPARE(buttons.button(QDialogButtonBox::Cancel)->text(), QStringLiteral("Abbrechen"));

        framework.setOverrideCode("fr");
        QCOMPARE(qtCancel(), QStringLiteral("Annuler"));
        QCOMPARE(QLocale().language(), QLocale::French);
        QCOMPARE(framework.installedTranslators().size(), size_t(1)); // replaced, not stacked
        QTRY_COMPARE(buttons.button(QDialogButtonBox::Cancel)->text(), QStringLiteral("Annuler"));

        framework.setOverrideCode("zh-Hant");
        QCOMPARE(fileName(framework.installedTranslators().front()), QStringLiteral("qtbase_zh_TW.qm"));
        framework.setOverrideCode("pt-BR");
        QCOMPARE(fileName(framework.installedTranslators().front()), QStringLiteral("qtbase_pt_BR.qm"));

        framework.setOverrideCode(std::nullopt); // the system's language again
        QCOMPARE(qtCancel(), QStringLiteral("Cancel"));
        QCOMPARE(QLocale(), QLocale::system());
    }

    void withoutOverrideTheSystemLanguagesApply()
    {
        FrameworkLanguage framework({qtbase()}, [] { return QStringList{"sv-SE", "de-CH", "de"}; });
        framework.installRedirection();
        QCOMPARE(qtCancel(), QStringLiteral("Abbrechen"));
    }

    void catalogueWithoutTheChosenLanguageKeepsItsOwn()
    {
        QVERIFY(TranslationFiles::write(file("cat_fr.qm")));
        FrameworkLanguage framework({catalog()}, [] { return QStringList{"fr-FR"}; });
        framework.installRedirection();
        framework.setOverrideCode("tr");
        QCOMPARE(framework.installedTranslators().size(), size_t(1));
        QCOMPARE(fileName(framework.installedTranslators().front()), QStringLiteral("cat_fr.qm"));
    }

    void translatorsAreRemovedWithTheService()
    {
        {
            FrameworkLanguage framework({qtbase()}, [] { return QStringList{"en"}; });
            framework.setOverrideCode("ru");
            framework.installRedirection();
            QVERIFY(qtCancel() != QStringLiteral("Cancel"));
        }
        QCOMPARE(qtCancel(), QStringLiteral("Cancel"));
    }

    void launchAdoptsTheStoredAppleLanguages()
    {
        DefaultsStore defaults{QString()};
        {
            defaults.set("AppleLanguages", QJsonArray{"de"});
            FrameworkLanguage framework({qtbase()}, [] { return QStringList{"en"}; });
            framework.installAtLaunch(defaults);
            QCOMPARE(framework.overrideCode(), std::optional<QString>("de"));
            QVERIFY(framework.isInstalled());
            QCOMPARE(qtCancel(), QStringLiteral("Abbrechen"));
        }
        for (const QJsonValue &stored : {QJsonValue(QJsonArray{"EN"}), QJsonValue(QJsonArray{}), QJsonValue("de"),
                                         QJsonValue(QJsonValue::Undefined)}) {
            if (stored.isUndefined())
                defaults.remove("AppleLanguages");
            else
                defaults.set("AppleLanguages", stored);
            FrameworkLanguage framework({qtbase()}, [] { return QStringList{"en"}; });
            framework.installAtLaunch(defaults);
            QCOMPARE(framework.overrideCode(), std::nullopt);
            QVERIFY(framework.isInstalled());
            QCOMPARE(qtCancel(), QStringLiteral("Cancel"));
        }
    }
};

QTEST_MAIN(FrameworkLanguageTest)
#include "FrameworkLanguageTest.moc"
