// What the running instance does with each command of the command line.
#include "app/ShellCommands.h"
#include "fakes/PaletteFixture.h"

#include <QtTest>

using Kind = ShellCommand::Kind;

class ShellCommandsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<PaletteFixture> f;
    std::unique_ptr<ShellCommands> commands;
    QList<QUrl> opened;
    int quits = 0;

    ShellReply run(Kind kind, int index = 0, const QUrl &url = {}) { return commands->run(ShellCommand{kind, index, url}); }
    QString clipboardText() const { return f->clipboard.contents() ? f->clipboard.contents()->text() : QString(); }

private slots:
    void init()
    {
        f = std::make_unique<PaletteFixture>();
        opened.clear();
        quits = 0;
        commands = std::make_unique<ShellCommands>(
            *f->store, f->settings, f->controller,
            ShellCommands::Actions{[this](const QUrl &url) { opened << url; }, [this] { ++quits; }});
    }
    void cleanup()
    {
        f->controller.close();
        commands.reset();
        f.reset();
    }

    void listPrintsNumberedTitlesNewestFirst()
    {
        f->add(QStringLiteral("first"));
        f->add(QStringLiteral("two\nlines\there"));
        f->add(QStringLiteral("newest"), true);
        const ShellReply reply = run(Kind::list);
        QVERIFY(reply.ok);
        QCOMPARE(reply.output, QStringLiteral("1\tnewest\n2\ttwo lines here\n3\tfirst\n"));
    }

    void listOfAnEmptyHistoryIsEmpty()
    {
        const ShellReply reply = run(Kind::list);
        QVERIFY(reply.ok);
        QVERIFY(reply.output.isEmpty());
    }

    void pasteGoesThroughTheController()
    {
        f->add(QStringLiteral("older"));
        f->add(QStringLiteral("newer"));
        QVERIFY(run(Kind::paste, 2).ok);
        QTRY_COMPARE(clipboardText(), QStringLiteral("older"));
        QTRY_COMPARE(f->keys.posts.size(), 1); // then Ctrl+V
        QCOMPARE(f->keys.posts[0].second, Qt::Key_V);
    }

    void pasteOutOfRangeIsAnError()
    {
        f->add(QStringLiteral("only"));
        const ShellReply reply = run(Kind::paste, 2);
        QVERIFY(!reply.ok);
        QCOMPARE(reply.output, QStringLiteral("No entry 2: the history holds 1.\n"));
        QTest::qWait(200);
        QVERIFY(f->keys.posts.isEmpty());
        QCOMPARE(f->clipboard.writes, 0);
    }

    void toggleAndShowOpenThePalette()
    {
        QVERIFY(run(Kind::toggle).ok);
        QVERIFY(f->controller.isVisible());
        QVERIFY(run(Kind::toggle).ok);
        QVERIFY(!f->controller.isVisible());
        QVERIFY(run(Kind::show).ok);
        QVERIFY(f->controller.isVisible());
        QVERIFY(run(Kind::show).ok);
        QVERIFY(f->controller.isVisible());
    }

    void aSecondLaunchOpensThePalette()
    {
        QVERIFY(run(Kind::launch).ok);
        QVERIFY(f->controller.isVisible());
    }

    void pauseAndResumeSetTheSetting()
    {
        QVERIFY(run(Kind::pause).ok);
        QVERIFY(f->settings.monitoringPaused());
        QCOMPARE(f->defaults.boolValue("monitoringPaused"), std::optional(true));
        QVERIFY(run(Kind::pause).ok);
        QVERIFY(f->settings.monitoringPaused());
        QVERIFY(run(Kind::resume).ok);
        QVERIFY(!f->settings.monitoringPaused());
    }

    void quitHappensAfterTheReply()
    {
        QVERIFY(run(Kind::quit).ok);
        QCOMPARE(quits, 0);
        QTRY_COMPARE(quits, 1);
    }

    void urlGoesToTheCallbackRoute()
    {
        const QUrl url(QStringLiteral("stashwell://auth?code=x&state=y"));
        QVERIFY(run(Kind::openURL, 0, url).ok);
        QCOMPARE(opened, QList{url});
    }
};

QTEST_MAIN(ShellCommandsTest)
#include "ShellCommandsTest.moc"
