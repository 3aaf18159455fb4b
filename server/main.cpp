// SPDX-License-Identifier: GPL-3.0-or-later
// stashwell-server: the self-hostable reference of the web service Stashwell talks to.
#include "server/AccountEndpoints.h"
#include "server/HttpServer.h"
#include "server/Router.h"
#include "server/ServerOptions.h"
#include "server/ServerStore.h"
#include "server/SignInPage.h"
#include "server/SyncEndpoints.h"
#include "server/UploadEndpoints.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace {

int dumpUploads(ServerStore &store, const QString &kind)
{
    for (const ServerStore::Upload &upload : store.uploads(kind == QLatin1String("all") ? QString() : kind)) {
        const QJsonObject line{{QStringLiteral("id"), upload.id},
                               {QStringLiteral("kind"), upload.kind},
                               {QStringLiteral("receivedAt"), upload.receivedAt},
                               {QStringLiteral("account"), upload.accountEmail.isEmpty() ? QJsonValue() : upload.accountEmail},
                               {QStringLiteral("body"), QJsonDocument::fromJson(upload.body).object()}};
        std::fputs(QJsonDocument(line).toJson(QJsonDocument::Compact).append('\n').constData(), stdout);
    }
    return 0;
}

// One line per request; the query is left out because it carries sign-in values.
void logRequest(const HttpRequest &request, const HttpResponse &response, qint64 ms)
{
    QString path = request.path().left(200);
    for (QChar &c : path) {
        if (c.category() == QChar::Other_Control)
            c = QLatin1Char('?'); // a decoded path must not forge log lines
    }
    std::fprintf(stderr, "%s %s %s %d %lldms\n",
                 qPrintable(QDateTime::currentDateTimeUtc().toString(Qt::ISODate)), request.method.constData(),
                 qPrintable(path), response.status, static_cast<long long>(ms));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("stashwell-server"));
    QCoreApplication::setApplicationVersion(QStringLiteral(STASHWELL_VERSION));

    ServerOptions options;
    QString error;
    if (!options.parse(QCoreApplication::arguments(), &error)) {
        std::fprintf(stderr, "stashwell-server: %s\n", qPrintable(error));
        return 2;
    }
    if (!options.dumpKind.isEmpty() && !QFile::exists(options.databasePath)) {
        std::fprintf(stderr, "stashwell-server: %s: no such database\n", qPrintable(options.databasePath));
        return 1;
    }
    ServerStore store;
    if (!store.open(options.databasePath, &error)) {
        std::fprintf(stderr, "stashwell-server: %s: %s\n", qPrintable(options.databasePath), qPrintable(error));
        return 1;
    }
    if (!options.dumpKind.isEmpty())
        return dumpUploads(store, options.dumpKind);

    Router router;
    AccountEndpoints account(store, options.service);
    SyncEndpoints sync(store);
    UploadEndpoints uploads(store, options.service);
    account.registerRoutes(router);
    sync.registerRoutes(router);
    uploads.registerRoutes(router);
    router.add("GET", QStringLiteral("/"), [](const HttpRequest &) { return HttpResponse::html(200, SignInPage::home()); });

    HttpServer::Options serverOptions;
    serverOptions.limits.maxBodyBytes = options.maxBodyBytes;
    serverOptions.idleTimeoutMs = options.idleTimeoutMs;
    serverOptions.requestTimeoutMs = options.requestTimeoutMs;
    serverOptions.maxConnectionsPerAddress = options.maxConnectionsPerAddress;
    const bool quiet = options.quiet;
    HttpServer server(serverOptions, [&router, quiet](const HttpRequest &request) {
        QElapsedTimer clock;
        clock.start();
        HttpResponse response = router.dispatch(request);
        if (!quiet)
            logRequest(request, response, clock.elapsed());
        return response;
    });
    if (!server.listen(options.address, options.port)) {
        std::fprintf(stderr, "stashwell-server: cannot listen on %s:%u: %s\n", qPrintable(options.address.toString()),
                     options.port, qPrintable(server.errorString()));
        return 1;
    }
    const QString host = options.address.protocol() == QAbstractSocket::IPv6Protocol
        ? QLatin1Char('[') + options.address.toString() + QLatin1Char(']') : options.address.toString();
    // Tests started with --port 0 read the chosen port from this line.
    std::printf("stashwell-server listening on http://%s:%u (database %s)\n", qPrintable(host), server.port(),
                qPrintable(options.databasePath));
    std::fflush(stdout);
    return app.exec();
}
