// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The Keychain on Linux: QtKeychain, i.e. the Secret Service through libsecret
// (KWallet on KDE), one service name for every item of the application.
//
// QtKeychain jobs are asynchronous and need an event loop; Keychain's operations are
// synchronous and callable from any thread. So the jobs run on a thread of their own and the
// caller waits for the answer, at most `timeoutMs`: no event of the caller's thread is
// processed meanwhile (no re-entrancy), and a keyring that never answers reads as missing.
#include "cloud/Keychain.h"

#include <QObject>

class KeychainStore final : public Keychain {
public:
    static inline const QString serviceName = QStringLiteral("com.norvane.Stashwell");

    explicit KeychainStore(const QString &service = serviceName, int timeoutMs = 10000);
    // The application's keychain: the shared store behind a TokenNoteKeychain.
    static Keychain &shared();

    std::optional<QString> get(const QString &account) override;
    void set(const std::optional<QString> &value, const QString &account) override;
    void remove(const QString &account) override;

private:
    enum class Operation { read, write, remove };
    struct Outcome;
    Outcome run(Operation operation, const QString &account, const QString &text = {});

    QString m_service;
    int m_timeoutMs;
};
