// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>

// What the endpoints need to know about this deployment (set from the command line).
struct ServiceConfig {
    QString callbackScheme = QStringLiteral("stashwell"); // the client's registered URL scheme
    int codeLifetimeSeconds = 600;                        // sign-in codes are short-lived
    QString accessCode;                                   // when set, the sign-in form asks for it
    bool testMode = false;                                // exposes /test/received
};
