// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Starts the real stashwell-server for a test: a free port, a temporary database and the test
// endpoint (/test/received). Header-only so any test can include it as
// "server/ReferenceServerProcess.h" once it knows the binary (STASHWELL_SERVER_BIN).
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUrl>
#include <QUrlQuery>

class ReferenceServerProcess {
public:
    explicit ReferenceServerProcess(QString binary) : m_binary(std::move(binary)) {}
    ~ReferenceServerProcess()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    // Starts the server with `extraArguments` and waits until it listens; false with
    // errorOutput() set when it does not.
    bool start(const QStringList &extraArguments = {})
    {
        m_process.start(m_binary, QStringList{"--port", "0", "--db", m_dir.filePath("server.sqlite"), "--test-mode", "--quiet"}
                                      + extraArguments);
        static const QRegularExpression ready(QStringLiteral("listening on http://127\\.0\\.0\\.1:(\\d+)"));
        while (m_process.waitForReadyRead(10000)) {
            m_output += m_process.readAllStandardOutput();
            if (const auto match = ready.match(QString::fromUtf8(m_output)); match.hasMatch()) {
                m_port = match.captured(1).toUShort();
                return true;
            }
        }
        m_output += m_process.readAllStandardError();
        return false;
    }

    bool running() const { return m_process.state() == QProcess::Running; }
    quint16 port() const { return m_port; }
    QByteArray errorOutput() const { return m_output; }
    QUrl root() const { return url("/"); }
    QUrl url(const QString &pathAndQuery) const { return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(pathAndQuery)); }
    // The sign-in page the application opens in the browser.
    QUrl connectUrl(const QString &challenge, const QString &state) const
    {
        QUrl page = url("/app/connect");
        page.setQuery(QUrlQuery{{"app", "stashwell"}, {"challenge", challenge}, {"state", QString::fromLatin1(QUrl::toPercentEncoding(state))}});
        return page;
    }

private:
    QString m_binary;
    QTemporaryDir m_dir;
    QProcess m_process;
    QByteArray m_output;
    quint16 m_port = 0;
};
