// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: the history survives real faults. Copies stream in while stashwell is killed with
// SIGKILL at random moments; a data directory on a small tmpfs fills up until a save fails.
#include "e2e/XSession.h"
#include "fakes/TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QSet>
#include <QtTest>
#include <csignal>

namespace {

QString marker(const QString &text) { return text.section(QLatin1Char(' '), 0, 0); }

} // namespace

class DurabilityE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;

    QString historyFile() const { return x->historyDir() + QStringLiteral("/history.json"); }
    QSet<QString> saved() const
    {
        QSet<QString> markers;
        for (const QString &text : x->texts())
            markers << marker(text);
        return markers;
    }
    QSet<QString> listed() const // from "<n>\t<title>" lines
    {
        QSet<QString> markers;
        for (const QByteArray &line : x->runStashwellCommand({"list"}).out.split('\n'))
            if (line.contains('\t'))
                markers << marker(QString::fromUtf8(line.mid(line.indexOf('\t') + 1)));
        return markers;
    }
    bool sideFilesReferenced() const
    {
        QSet<QString> ids;
        for (const QJsonValue &item : x->history())
            ids << item[QLatin1String("id")].toString();
        for (const QString &name : QDir(x->historyDir() + QStringLiteral("/blobs")).entryList(QDir::Files))
            if (!ids.contains(name.section(QLatin1Char('.'), 0, 0)))
                return false;
        return true;
    }
    // The height of the tray icon's tooltip (a line per line of text) when pointing at the icon; 0: none.
    int toolTipHeight() const
    {
        const QString icon = x->stashwellTrayIcon();
        const QPoint centre = x->stashwellTrayIconCentre();
        x->run("xdotool", {"mousemove", "640", "700"}); // away first, so that a new tooltip opens
        XSession::waitFor([&] { return x->stashwellWindows().size() <= 1; }); // an old tooltip has gone
        int height = 0;
        for (int nudge = 0; nudge < 4 && !height; ++nudge) {
            x->run("xdotool", {"mousemove", QString::number(centre.x() + nudge % 2), QString::number(centre.y())});
            XSession::waitFor([&] {
                for (const XSession::Window &window : x->stashwellWindows())
                    height = window.id != icon && !window.frame.isEmpty() ? window.frame.height() : height;
                return height > 0;
            }, 1500);
        }
        return height;
    }

private slots:
    void init()
    {
        x = std::make_unique<XSession>();
        QVERIFY2(x->isUp(), "Xvfb and openbox did not start");
    }
    void cleanup() { x.reset(); }

    // After each kill the history file is whole and holds every entry `stashwell list` showed more
    // than 2 s before; after the restart no side file is left without its entry.
    void killedAtRandomMomentsKeepsWhatWasListedTwoSecondsBefore()
    {
        const int kills = std::max(10, qEnvironmentVariableIntValue("STASHWELL_DURABILITY_KILLS"));
        x->setDefaults({{"historyLimit", 5000}});
        QVERIFY(x->startStashwell());
        int copies = 0, lost = 0;
        for (int kill = 1; kill <= kills; ++kill) {
            QElapsedTimer clock;
            clock.start();
            const qint64 killAt = QRandomGenerator::global()->bounded(1000, 6000);
            QList<std::pair<qint64, QSet<QString>>> shown; // what a listing showed, and when it had returned
            for (qint64 nextCopy = 0; clock.elapsed() < killAt;) {
                if (clock.elapsed() >= nextCopy) { // 5 a second; equally long markers never merge into a burst
                    QString text = QStringLiteral("copy%1").arg(++copies, 5, 10, QLatin1Char('0'));
                    if (copies % 5 == 0)
                        text += QLatin1Char(' ') + QString(20000, QLatin1Char('x')); // goes to a side file
                    x->xclipCopy(text.toUtf8());
                    nextCopy += 200;
                }
                const QSet<QString> listing = listed();
                shown.append({clock.elapsed(), listing});
            }
            const qint64 killedAt = clock.elapsed();
            ::kill(x->stashwell()->processId(), SIGKILL);
            QCOMPARE(x->waitForStashwellCrash(10000), SIGKILL);

            QVERIFY(!QFile::exists(historyFile()) || QJsonDocument::fromJson(readFile(historyFile())).isArray());
            const QSet<QString> after = saved();
            for (const auto &[at, listing] : std::as_const(shown))
                QVERIFY2(at >= killedAt - 2000 || after.contains(listing), qPrintable(QStringLiteral("kill %1").arg(kill)));
            const qsizetype lostNow = shown.isEmpty() ? 0 : QSet(shown.last().second).subtract(after).size();
            qInfo("kill %d after %lld ms: %lld listed entries lost", kill, killedAt, qlonglong(lostNow));
            lost += int(lostNow);
            QVERIFY(x->startStashwell());
            QVERIFY(QDir(x->historyDir()).entryList({"history.json.broken-*"}).isEmpty());
            QVERIFY(listed().contains(after));
            QVERIFY(XSession::waitFor([&] { return sideFilesReferenced(); }, 10000)); // the restart may record one more
        }
        qInfo("%d kills, %d copies: %d listed entries lost, %.1f per kill", kills, copies, lost, double(lost) / kills);
    }

    // On a full disk the previous history.json stays as it was and the tray icon's tooltip says that
    // the history cannot be saved; once there is room again the copy held meanwhile is saved.
    void aFullDiskKeepsTheOldHistoryAndTellsTheUser()
    {
        QVERIFY(QDir().mkpath(x->historyDir()));
        if (QProcess::execute("mount", {"-t", "tmpfs", "-o", "size=256k", "tmpfs", x->historyDir()}) != 0)
            QSKIP("mounting a tmpfs needs root");
        const auto unmount = qScopeGuard([this] {
            x->stopStashwell();
            QProcess::execute("umount", {"-l", x->historyDir()});
        });
        QVERIFY(x->startTray());
        QVERIFY(x->startStashwell());
        QVERIFY(XSession::waitFor([&] { return !x->stashwellTrayIcon().isEmpty(); }, 10000));
        QVERIFY(x->recordCopy("saved before"));
        const QByteArray before = readFile(historyFile());
        const int oneLine = toolTipHeight();
        QVERIFY(oneLine > 0);

        QFile filler(x->historyDir() + QStringLiteral("/filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly));
        filler.write(QByteArray(1 << 20, 'f')); // stops where the tmpfs is full
        filler.close();
        x->xclipCopy("copied on a full disk");
        QVERIFY(XSession::waitFor([&] { return toolTipHeight() > oneLine; }, 30000)); // a save failed
        QCOMPARE(readFile(historyFile()), before);

        QVERIFY(filler.remove());
        QVERIFY(x->recordCopy("copied after"));
        QCOMPARE(x->texts(), QStringList({"copied after", "copied on a full disk", "saved before"}));
        QVERIFY(XSession::waitFor([&] { return toolTipHeight() == oneLine; }, 30000));
    }
};

QTEST_MAIN(DurabilityE2ETest)
#include "DurabilityE2ETest.moc"
