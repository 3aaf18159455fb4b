// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/ServerOptions.h"

#include <QCommandLineParser>
#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {

QString defaultDatabasePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/stashwell-server/stashwell-server.sqlite");
}

bool parseNumber(const QString &text, qint64 min, qint64 max, qint64 *out)
{
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    if (!ok || value < min || value > max)
        return false;
    *out = value;
    return true;
}

} // namespace

bool ServerOptions::parse(const QStringList &arguments, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Reference implementation of the web service used by Stashwell: browser sign-in, "
        "settings sync and diagnostics uploads, stored in SQLite."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption listen(QStringLiteral("listen"), QStringLiteral("Address to listen on (default 127.0.0.1)."), QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption port(QStringLiteral("port"), QStringLiteral("TCP port (default 8787; 0 picks a free one)."), QStringLiteral("port"), QStringLiteral("8787"));
    const QCommandLineOption db(QStringLiteral("db"), QStringLiteral("SQLite database file (default %1).").arg(defaultDatabasePath()), QStringLiteral("path"), defaultDatabasePath());
    const QCommandLineOption scheme(QStringLiteral("callback-scheme"), QStringLiteral("URL scheme of the sign-in callback (default stashwell)."), QStringLiteral("scheme"), QStringLiteral("stashwell"));
    const QCommandLineOption lifetime(QStringLiteral("code-lifetime"), QStringLiteral("Seconds a sign-in code stays valid (default 600)."), QStringLiteral("seconds"), QStringLiteral("600"));
    const QCommandLineOption accessCode(QStringLiteral("access-code"), QStringLiteral("Ask for this code on the sign-in page (also STASHWELL_SERVER_ACCESS_CODE)."), QStringLiteral("code"));
    const QCommandLineOption maxBody(QStringLiteral("max-body"), QStringLiteral("Largest request body in bytes (default 4194304)."), QStringLiteral("bytes"), QStringLiteral("4194304"));
    const QCommandLineOption idle(QStringLiteral("idle-timeout"), QStringLiteral("Seconds before an idle or stalled connection is closed (default 30)."), QStringLiteral("seconds"), QStringLiteral("30"));
    const QCommandLineOption requestTimeout(QStringLiteral("request-timeout"), QStringLiteral("Seconds to receive a whole request from its first byte, else 408 (default 10)."), QStringLiteral("seconds"), QStringLiteral("10"));
    const QCommandLineOption perAddress(QStringLiteral("max-connections-per-address"), QStringLiteral("Open connections allowed from one client address; more are closed at once (default 16)."), QStringLiteral("n"), QStringLiteral("16"));
    const QCommandLineOption testMode(QStringLiteral("test-mode"), QStringLiteral("Serve GET /test/received for tests."));
    const QCommandLineOption quietOption(QStringLiteral("quiet"), QStringLiteral("Do not log requests."));
    const QCommandLineOption dump(QStringLiteral("dump"), QStringLiteral("Print stored uploads (improve, crash, testlog or all) as JSON lines and exit."), QStringLiteral("kind"));
    parser.addOptions({listen, port, db, scheme, lifetime, accessCode, maxBody, idle, requestTimeout, perAddress, testMode, quietOption, dump});
    parser.process(arguments);

    qint64 number = 0;
    if (!address.setAddress(parser.value(listen))) {
        *error = QStringLiteral("--listen: not an IP address: %1").arg(parser.value(listen));
        return false;
    }
    if (!parseNumber(parser.value(port), 0, 65535, &number)) {
        *error = QStringLiteral("--port: expected 0 to 65535");
        return false;
    }
    this->port = static_cast<quint16>(number);
    if (!parseNumber(parser.value(lifetime), 1, 86400, &number)) {
        *error = QStringLiteral("--code-lifetime: expected 1 to 86400 seconds");
        return false;
    }
    service.codeLifetimeSeconds = static_cast<int>(number);
    if (!parseNumber(parser.value(maxBody), 1024, qint64(1) << 30, &maxBodyBytes)) {
        *error = QStringLiteral("--max-body: expected 1024 bytes to 1 GiB");
        return false;
    }
    if (!parseNumber(parser.value(idle), 1, 3600, &number)) {
        *error = QStringLiteral("--idle-timeout: expected 1 to 3600 seconds");
        return false;
    }
    idleTimeoutMs = static_cast<int>(number) * 1000;
    if (!parseNumber(parser.value(requestTimeout), 1, 3600, &number)) {
        *error = QStringLiteral("--request-timeout: expected 1 to 3600 seconds");
        return false;
    }
    requestTimeoutMs = static_cast<int>(number) * 1000;
    if (!parseNumber(parser.value(perAddress), 1, 256, &number)) {
        *error = QStringLiteral("--max-connections-per-address: expected 1 to 256");
        return false;
    }
    maxConnectionsPerAddress = static_cast<int>(number);
    static const QRegularExpression schemeSyntax(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*$"));
    service.callbackScheme = parser.value(scheme);
    if (!schemeSyntax.match(service.callbackScheme).hasMatch()) {
        *error = QStringLiteral("--callback-scheme: not a URL scheme");
        return false;
    }
    service.accessCode = parser.isSet(accessCode) ? parser.value(accessCode) : qEnvironmentVariable("STASHWELL_SERVER_ACCESS_CODE");
    service.testMode = parser.isSet(testMode);
    databasePath = QDir::cleanPath(parser.value(db));
    quiet = parser.isSet(quietOption);
    dumpKind = parser.value(dump);
    if (parser.isSet(dump) && !QStringList{"improve", "crash", "testlog", "all"}.contains(dumpKind)) {
        *error = QStringLiteral("--dump: expected improve, crash, testlog or all");
        return false;
    }
    return true;
}
