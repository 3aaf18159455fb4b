// The desktop entry: the application menu entry and the stashwell:// URL handler, installed
// with its icon by the CMake install step.
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString source = QStringLiteral(STASHWELL_SOURCE_DIR "/app/share/com.norvane.Stashwell.desktop");

// The [Desktop Entry] group's keys.
QMap<QString, QString> mainGroup(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QMap<QString, QString> keys;
    QString group;
    for (const QByteArray &raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.startsWith(QLatin1Char('[')))
            group = line;
        else if (group == QLatin1String("[Desktop Entry]") && line.contains(QLatin1Char('=')))
            keys.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
    }
    return keys;
}

} // namespace

class DesktopEntryTest : public QObject {
    Q_OBJECT
private slots:
    void declaresTheURLSchemeAndHandsOverTheURL()
    {
        const auto keys = mainGroup(source);
        QCOMPARE(keys.value("Type"), QStringLiteral("Application"));
        QCOMPARE(keys.value("Name"), QStringLiteral("Stashwell"));
        QCOMPARE(keys.value("Exec"), QStringLiteral("stashwell %u"));
        QCOMPARE(keys.value("Icon"), QStringLiteral("com.norvane.Stashwell"));
        QCOMPARE(keys.value("MimeType"), QStringLiteral("x-scheme-handler/stashwell;"));
        QVERIFY(keys.value("NoDisplay", "false") == QLatin1String("false")); // it is how users start it
        QCOMPARE(keys.value("Terminal"), QStringLiteral("false"));
    }

    void passesDesktopFileValidate()
    {
        const QString validator = QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate"));
        if (validator.isEmpty())
            QFAIL("desktop-file-validate (package desktop-file-utils) is not installed");
        QProcess process;
        process.start(validator, {source});
        QVERIFY(process.waitForFinished(10000));
        const QByteArray output = process.readAllStandardOutput() + process.readAllStandardError();
        QVERIFY2(process.exitCode() == 0 && output.trimmed().isEmpty(), output.constData());
    }

    void installStepInstallsEntryAndIcon() // `cmake --install` installs every component
    {
        QTemporaryDir prefix;
        QProcess install;
        install.start(QStringLiteral("cmake"), {"--install", QFileInfo(QStringLiteral(STASHWELL_BIN)).absolutePath(),
                                                "--prefix", prefix.path(), "--component", "desktop"});
        QVERIFY(install.waitForFinished(60000));
        QVERIFY2(install.exitCode() == 0, install.readAllStandardError().constData());
        const QString entry = prefix.path() + QStringLiteral("/share/applications/com.norvane.Stashwell.desktop");
        const QString icon = prefix.path() + QStringLiteral("/share/icons/hicolor/scalable/apps/com.norvane.Stashwell.svg");
        QVERIFY(QFileInfo::exists(entry));
        QVERIFY(QFileInfo::exists(icon));
        QCOMPARE(mainGroup(entry), mainGroup(source));
        QFile svg(icon);
        QVERIFY(svg.open(QIODevice::ReadOnly));
        QVERIFY(svg.readAll().startsWith("<svg"));
    }
};

QTEST_GUILESS_MAIN(DesktopEntryTest)
#include "DesktopEntryTest.moc"
