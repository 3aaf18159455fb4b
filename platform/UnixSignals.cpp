// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/UnixSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int pipeFds[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] auto n = ::write(pipeFds[0], &byte, 1); // async-signal-safe
}
} // namespace

void UnixSignals::quitOnTermination()
{
    if (pipeFds[0] != -1 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pipeFds) != 0)
        return;
    auto *notifier = new QSocketNotifier(pipeFds[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, QCoreApplication::instance(), [] {
        char byte;
        [[maybe_unused]] auto n = ::read(pipeFds[1], &byte, 1);
        QCoreApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}
