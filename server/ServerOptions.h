// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/ServiceConfig.h"

#include <QHostAddress>
#include <QStringList>

// The command line of stashwell-server.
struct ServerOptions {
    QHostAddress address = QHostAddress::LocalHost;
    quint16 port = 8787;
    QString databasePath;
    qint64 maxBodyBytes = 4 * 1024 * 1024;
    int idleTimeoutMs = 30000;
    int requestTimeoutMs = 10000;
    int maxConnectionsPerAddress = 16;
    bool quiet = false;
    QString dumpKind; // non-empty: print the stored uploads of this kind ("all" for every kind) and exit
    ServiceConfig service;

    // Parses `arguments` (argv); on failure returns false with the message in `error`.
    // --help and --version print and exit inside.
    bool parse(const QStringList &arguments, QString *error);
};
