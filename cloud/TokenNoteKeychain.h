// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The keychain behind a note of whether a session token is stored. Reading the token is what
// connects Stashwell to the Secret Service at launch (and may start or unlock a keyring), yet
// most users never sign in. While no web service is configured, or the note says no token is
// stored, a read of the token answers "none" without asking the keychain. The note lives in the
// defaults file and follows every store and removal of the token; without one (a keychain filled
// by an older version) the first read asks and takes the note. Other items pass straight through.
// Main thread only (the defaults store's).
#include "cloud/Keychain.h"

class DefaultsStore;

class TokenNoteKeychain final : public Keychain {
public:
    static inline const QString noteKey = QStringLiteral("cloudTokenStored");

    TokenNoteKeychain(Keychain &keychain, DefaultsStore &defaults, bool serviceConfigured);

    std::optional<QString> get(const QString &account) override;
    void set(const std::optional<QString> &value, const QString &account) override;
    void remove(const QString &account) override;

private:
    Keychain &m_keychain;
    DefaultsStore &m_defaults;
    bool m_serviceConfigured;
};
