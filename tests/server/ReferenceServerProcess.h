#pragma once
// Starts the real stashwell-server for a test: a free port, a temporary database and
// the test endpoint (/test/received). Header-only so any test can include it as
// "server/ReferenceServerProcess.h" once it knows the binary (STASHWELL_SERVER_BIN).
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUrl>
#include <QUrlQuery>

class ReferenceServerProcess {
public:
    explicit ReferenceServerProcess(QString binary)
        : m_binary(std::move(binary))
    {
    }
    ~ReferenceServerProcess() { stop(); }

    // Starts the server with `extraArguments` on `databasePath` (default: a new
    // temporary file) and waits until it listens. Returns false with errorOutput() set.
    bool start(const QStringList &extraArguments = {}, const QString &databasePath = {})
    {
        m_databasePath = databasePath.isEmpty() ? m_dir.filePath(QStringLiteral("server.sqlite")) : databasePath;
        m_process.setProgram(m_binary);
        m_process.setArguments(QStringList{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--db"),
                                           m_databasePath, QStringLiteral("--test-mode"), QStringLiteral("--quiet")}
                               + extraArguments);
        m_process.start();
        static const QRegularExpression ready(QStringLiteral("listening on http://127\\.0\\.0\\.1:(\\d+)"));
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 10000 && m_process.state() != QProcess::NotRunning) {
            m_process.waitForReadyRead(200);
            m_output += m_process.readAllStandardOutput();
            const auto match = ready.match(QString::fromUtf8(m_output));
            if (match.hasMatch()) {
                m_port = match.captured(1).toUShort();
                return true;
            }
        }
        m_output += m_process.readAllStandardError();
        stop();
        return false;
    }

    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(2000);
        }
    }

    bool running() const { return m_process.state() == QProcess::Running; }
    quint16 port() const { return m_port; }
    QString databasePath() const { return m_databasePath; }
    QString binary() const { return m_binary; }
    QByteArray errorOutput() const { return m_output; }
    QUrl root() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(m_port)); }
    QUrl url(const QString &pathAndQuery) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(pathAndQuery));
    }
    // The page the application opens for sign-in (Part 6.1 Algorithms 4.3).
    QUrl connectUrl(const QString &challenge, const QString &state) const
    {
        QUrl url = this->url(QStringLiteral("/app/connect"));
        QUrlQuery query;
        query.addQueryItem(QStringLiteral("app"), QStringLiteral("stashwell"));
        query.addQueryItem(QStringLiteral("challenge"), challenge);
        query.addQueryItem(QStringLiteral("state"), QString::fromLatin1(QUrl::toPercentEncoding(state)));
        url.setQuery(query);
        return url;
    }

private:
    QString m_binary;
    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_databasePath;
    QByteArray m_output;
    quint16 m_port = 0;
};
