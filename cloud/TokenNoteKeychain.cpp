// SPDX-License-Identifier: GPL-3.0-or-later
#include "cloud/TokenNoteKeychain.h"

#include "platform/DefaultsStore.h"

TokenNoteKeychain::TokenNoteKeychain(Keychain &keychain, DefaultsStore &defaults, bool serviceConfigured)
    : m_keychain(keychain)
    , m_defaults(defaults)
    , m_serviceConfigured(serviceConfigured)
{
}

std::optional<QString> TokenNoteKeychain::get(const QString &account)
{
    if (account != KeychainItem::token)
        return m_keychain.get(account);
    // Without a service a token could not be used; a note of none is trusted.
    const std::optional<bool> noted = m_defaults.boolValue(noteKey);
    if (!m_serviceConfigured || noted == false)
        return std::nullopt;
    std::optional<QString> token = m_keychain.get(account);
    if (!noted)
        m_defaults.set(noteKey, token.has_value());
    return token;
}

void TokenNoteKeychain::set(const std::optional<QString> &value, const QString &account)
{
    m_keychain.set(value, account);
    if (account == KeychainItem::token)
        m_defaults.set(noteKey, value.has_value());
}

void TokenNoteKeychain::remove(const QString &account)
{
    m_keychain.remove(account);
    if (account == KeychainItem::token)
        m_defaults.set(noteKey, false);
}
