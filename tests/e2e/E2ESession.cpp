// SPDX-License-Identifier: GPL-3.0-or-later
#include "e2e/E2ESession.h"
#include "fakes/TestFiles.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTest>

E2ESession::E2ESession()
{
    for (const QString &dir : {dataDir(), configDir(), m_home.path() + QStringLiteral("/cache"), runtimeDir()})
        QDir().mkpath(dir);
    QFile::setPermissions(runtimeDir(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    // The first-run guide is a test of its own; elsewhere it would take the focus.
    setDefaults({{"onboardingCompleted", true}});
}

E2ESession::~E2ESession()
{
    stopStashwell();
    for (auto it = m_processes.crbegin(); it != m_processes.crend(); ++it) {
        (*it)->terminate();
        (*it)->waitForFinished(3000);
        delete *it; // killed if it still runs
    }
}

bool E2ESession::waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(25);
    }
    return true;
}

QProcessEnvironment E2ESession::environment(const QStringList &extraEnv) const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DBUS_SESSION_BUS_ADDRESS", "STASHWELL_SERVICE_URL"})
        env.remove(QLatin1String(name));
    const QString home = m_home.path();
    for (const auto &[name, value] :
         {std::pair{"HOME", home}, {"XDG_DATA_HOME", dataDir()}, {"XDG_CONFIG_HOME", configDir()},
          {"XDG_CACHE_HOME", home + "/cache"}, {"XDG_RUNTIME_DIR", runtimeDir()}, {"NO_AT_BRIDGE", "1"}})
        env.insert(QLatin1String(name), value);
    addDesktopEnvironment(env);
    for (const QString &pair : extraEnv) {
        const QString name = pair.section(QLatin1Char('='), 0, 0);
        const QString value = pair.section(QLatin1Char('='), 1);
        const bool moreRules = name == QLatin1String("QT_LOGGING_RULES") && env.contains(name);
        env.insert(name, moreRules ? env.value(name) + QLatin1Char(';') + value : value);
    }
    return env;
}

E2ESession::Run E2ESession::execute(const QStringList &command, const QProcessEnvironment &env, const QByteArray &input)
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(command.first(), command.mid(1));
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(15000))
        p.kill();
    const bool exited = p.error() == QProcess::UnknownError && p.exitStatus() == QProcess::NormalExit;
    return {exited ? p.exitCode() : -1, p.readAllStandardOutput(), p.readAllStandardError()};
}

E2ESession::Run E2ESession::runClient(const QString &program, const QStringList &args, const QByteArray &input) const
{
    return execute(asUser(program, args), environment(), input);
}

QProcess *E2ESession::start(const QString &program, const QStringList &args) const
{
    const QStringList command = asUser(program, args);
    auto *process = new QProcess;
    process->setProcessEnvironment(environment());
    process->start(command.first(), command.mid(1));
    process->waitForStarted(5000);
    m_processes << process;
    return process;
}

bool E2ESession::startStashwell(const QStringList &extraEnv)
{
    const QStringList command = asUser(m_stashwellBin, {});
    m_app = std::make_unique<QProcess>();
    m_app->setProcessEnvironment(environment(QStringList{"QT_LOGGING_RULES=stashwell.usage.info=true"} + extraEnv));
    m_app->setStandardOutputFile(QProcess::nullDevice());
    m_stderr.clear();
    m_app->start(command.first(), command.mid(1));
    // It answers a second process once the launch is over and its event loop runs.
    const auto answers = [&] { return runStashwellCommand({"list"}).exitCode == 0; };
    return m_app->waitForStarted(5000) && waitFor([&] { return m_app->state() != QProcess::Running || answers(); }, 20000)
        && m_app->state() == QProcess::Running;
}

int E2ESession::stopStashwell()
{
    if (m_app)
        m_app->terminate(); // SIGTERM
    const int code = waitForStashwellExit(10000);
    m_app.reset(); // killed if it still runs
    return code;
}

QByteArray E2ESession::stashwellStderr()
{
    if (m_app)
        m_stderr += m_app->readAllStandardError();
    return m_stderr;
}

int E2ESession::waitForStashwellEnd(int timeoutMs, QProcess::ExitStatus how, int otherwise)
{
    if (!m_app || (m_app->state() != QProcess::NotRunning && !m_app->waitForFinished(timeoutMs)))
        return otherwise;
    m_stderr += m_app->readAllStandardError();
    const int result = m_app->exitStatus() == how ? m_app->exitCode() : otherwise;
    m_app.reset(); // ended: nothing left to stop
    return result;
}

E2ESession::Run E2ESession::runStashwellCommand(const QStringList &args, const QStringList &extraEnv) const
{
    return execute(asUser(m_stashwellBin, args), environment(extraEnv), {});
}

QJsonArray E2ESession::history() const
{
    return QJsonDocument::fromJson(readFile(historyDir() + QStringLiteral("/history.json"))).array();
}

QStringList E2ESession::texts() const
{
    QStringList list;
    for (const QJsonValue &item : history())
        list << item[QLatin1String("text")].toString();
    return list;
}

QByteArray E2ESession::everythingStored() const
{
    QByteArray all = QJsonDocument(history()).toJson();
    const QDir blobs(historyDir() + QStringLiteral("/blobs"));
    for (const QString &name : blobs.entryList(QDir::Files))
        all += readFile(blobs.filePath(name));
    return all;
}

void E2ESession::writeFile(const QString &path, const QByteArray &bytes) const
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

QJsonObject E2ESession::defaults() const
{
    return QJsonDocument::fromJson(readFile(defaultsFile())).object();
}

void E2ESession::setDefaults(const QJsonObject &values) const
{
    QJsonObject merged = defaults();
    for (auto it = values.begin(); it != values.end(); ++it)
        merged.insert(it.key(), it.value());
    writeFile(defaultsFile(), QJsonDocument(merged).toJson());
}
