// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsAccount.h"

#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"

CloudSettingsAccount::CloudSettingsAccount(CloudAccount &account, CloudSync &sync, QObject *parent)
    : SettingsAccount(parent)
    , m_account(account)
    , m_sync(sync)
{
    connect(&account, &CloudAccount::stateChanged, this, &SettingsAccount::changed);
    connect(&sync, &CloudSync::enabledChanged, this, &SettingsAccount::changed);
}

SettingsAccount::Status CloudSettingsAccount::status() const
{
    return m_account.state().signedIn ? Status::signedIn : Status::signedOut;
}

QString CloudSettingsAccount::email() const { return m_account.state().email; }
QString CloudSettingsAccount::tier() const { return m_account.state().tier; }
bool CloudSettingsAccount::isAvailable() const { return m_account.isAvailable(); }
void CloudSettingsAccount::signIn() { m_account.signIn(); }
void CloudSettingsAccount::signOut() { m_account.signOut(); }
bool CloudSettingsAccount::syncEnabled() const { return m_sync.enabled(); }
void CloudSettingsAccount::setSyncEnabled(bool enabled) { m_sync.setEnabled(enabled); }
