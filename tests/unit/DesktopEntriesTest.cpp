// The Linux side of "frontmost application": desktop entries and the autostart entry.
#include "platform/DesktopEntries.h"
#include "platform/LoginItem.h"

#include <QTemporaryDir>
#include <QtTest>

class DesktopEntriesTest : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;

    void write(const QString &relative, const QByteArray &content)
    {
        const QString path = tmp.path() + QStringLiteral("/share/applications/") + relative;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

private slots:
    void initTestCase()
    {
        qputenv("XDG_DATA_HOME", (tmp.path() + "/home").toUtf8());
        qputenv("XDG_DATA_DIRS", (tmp.path() + "/share").toUtf8());
        write("org.keepassxc.KeePassXC.desktop",
              "[Desktop Entry]\nType=Application\nName=KeePassXC\nName[de]=KeePassXC (de)\nIcon=keepassxc\n"
              "StartupWMClass=keepassxc\n[Desktop Action New]\nName=Other\n");
        write("org.gnome.Zenity.desktop", "[Desktop Entry]\nType=Application\nName=Zenity\nNoDisplay=true\n");
        write("kde/kate.desktop", "[Desktop Entry]\nType=Application\nName=Kate\n");
        write("hidden.desktop", "[Desktop Entry]\nType=Application\nName=Gone\nHidden=true\n");
        write("link.desktop", "[Desktop Entry]\nType=Link\nName=Web\n");
    }

    void readsApplicationsOnly()
    {
        DesktopEntries entries(QStringLiteral("de_DE"));
        QCOMPARE(entries.all().size(), 3);
        QVERIFY(!entries.byId("hidden"));
        QVERIFY(!entries.byId("link"));
        QCOMPARE(entries.byId("kde-kate")->name, QStringLiteral("Kate")); // subdirectories join with "-"
        QVERIFY(entries.byId("org.gnome.Zenity")->noDisplay);
    }

    void localizedNameOfTheMainGroup()
    {
        DesktopEntries de(QStringLiteral("de_DE"));
        QCOMPARE(de.byId("org.keepassxc.KeePassXC")->name, QStringLiteral("KeePassXC (de)"));
        DesktopEntries fr(QStringLiteral("fr_FR"));
        QCOMPARE(fr.byId("org.keepassxc.KeePassXC")->name, QStringLiteral("KeePassXC"));
        QCOMPARE(fr.byId("org.keepassxc.KeePassXC")->icon, QStringLiteral("keepassxc"));
    }

    void wmClassResolvesToTheDesktopEntry()
    {
        DesktopEntries entries(QStringLiteral("C"));
        QCOMPARE(entries.byWMClass("keepassxc", "KeePassXC")->id, QStringLiteral("org.keepassxc.KeePassXC"));
        QCOMPARE(entries.byWMClass("zenity", "Zenity")->id, QStringLiteral("org.gnome.Zenity")); // last component
        QVERIFY(!entries.byWMClass("xterm", "XTerm"));
    }

    void autostartEntryIsWrittenAndRemoved()
    {
        const QString path = tmp.path() + QStringLiteral("/config/autostart/com.norvane.Stashwell.desktop");
        XdgAutostart item(path, QStringLiteral("/usr/bin/stashwell"));
        QCOMPARE(item.registerItem(), QString());
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray content = file.readAll();
        QVERIFY(content.startsWith("[Desktop Entry]\n"));
        QVERIFY(content.contains("Exec=\"/usr/bin/stashwell\"\n"));
        QCOMPARE(item.unregisterItem(), QString());
        QVERIFY(!QFile::exists(path));
        QCOMPARE(item.unregisterItem(), QString()); // already gone is fine
        XdgAutostart blocked(QStringLiteral("/proc/forbidden/autostart/x.desktop"), QStringLiteral("x"));
        QVERIFY(!blocked.registerItem().isEmpty());
    }
};

QTEST_GUILESS_MAIN(DesktopEntriesTest)
#include "DesktopEntriesTest.moc"
