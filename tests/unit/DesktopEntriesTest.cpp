// SPDX-License-Identifier: GPL-3.0-or-later
// Desktop entries: those that name the application in front, and Stashwell's own (stashwell:// URLs).
#include "fakes/TestFiles.h"
#include "platform/DesktopEntries.h"

#include <QTemporaryDir>
#include <QtTest>

class DesktopEntriesTest : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;

private slots:
    void readsVisibleApplicationsByIdOrWindowClassAndOursOpensStashwellURLs()
    {
        qputenv("XDG_DATA_HOME", (tmp.path() + "/home").toUtf8());
        qputenv("XDG_DATA_DIRS", (tmp.path() + "/share").toUtf8());
        const QList<std::pair<QString, QByteArray>> files{
            {"org.keepassxc.KeePassXC", "Type=Application\nName=KeePassXC\nName[de]=KeePassXC (de)\nIcon=keepassxc\n"
                                        "StartupWMClass=keepassxc\n[Desktop Action New]\nName=Other\n"},
            {"org.gnome.Zenity", "Type=Application\nName=Zenity\nNoDisplay=true\n"},
            {"kde/kate", "Type=Application\nName=Kate\n"},
            {"hidden", "Type=Application\nName=Gone\nHidden=true\n"},
            {"link", "Type=Link\nName=Web\n"}};
        QVERIFY(QDir().mkpath(tmp.path() + "/share/applications/kde"));
        for (const auto &[name, keys] : files)
            QVERIFY(writeFile(tmp.path() + "/share/applications/" + name + ".desktop", "[Desktop Entry]\n" + keys));
        DesktopEntries de(QStringLiteral("de_DE"));
        QCOMPARE(de.all().size(), 3);
        QVERIFY(!de.byId("hidden") && !de.byId("link"));
        QCOMPARE(de.byId("kde-kate")->name, QStringLiteral("Kate")); // subdirectories join with "-"
        QVERIFY(de.byId("org.gnome.Zenity")->noDisplay);
        QCOMPARE(de.byId("org.keepassxc.KeePassXC")->name, QStringLiteral("KeePassXC (de)"));
        DesktopEntries fr(QStringLiteral("fr_FR"));
        QCOMPARE(fr.byId("org.keepassxc.KeePassXC")->name, QStringLiteral("KeePassXC"));
        QCOMPARE(fr.byWMClass("keepassxc", "KeePassXC")->id, QStringLiteral("org.keepassxc.KeePassXC"));
        QCOMPARE(fr.byWMClass("zenity", "Zenity")->id, QStringLiteral("org.gnome.Zenity")); // last component
        QVERIFY(!fr.byWMClass("xterm", "XTerm"));
        const QByteArray ours = readFile(STASHWELL_SOURCE_DIR "/app/share/com.norvane.Stashwell.desktop");
        QVERIFY(ours.contains("\nExec=stashwell %u\n")); // the URL reaches the running instance
        QVERIFY(ours.contains("\nMimeType=x-scheme-handler/stashwell;\n"));
    }
};

QTEST_GUILESS_MAIN(DesktopEntriesTest)
#include "DesktopEntriesTest.moc"
