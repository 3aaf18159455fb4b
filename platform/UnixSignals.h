// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QObject>

// Turns SIGTERM and SIGINT into a clean Qt quit (so the history is saved), through a
// self-pipe: the handler only writes one byte, the event loop does the rest.
class UnixSignals : public QObject {
    Q_OBJECT
public:
    static void quitOnTermination();
};
