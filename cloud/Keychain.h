// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The application's small secrets, as string values keyed by an account name.
// Every call goes to the store (no cache); no operation reports an error: a failed read
// looks like a missing item, a failed write or delete is silent.
#include <QString>
#include <QUuid>
#include <optional>

class Keychain {
public:
    virtual ~Keychain() = default;
    // The stored string, or nullopt when there is none (an empty string is a value).
    virtual std::optional<QString> get(const QString &account) = 0;
    // Stores or replaces the value; nullopt removes the item.
    virtual void set(const std::optional<QString> &value, const QString &account) = 0;
    // Deletes the item if it exists.
    virtual void remove(const QString &account) = 0;
};

// The items of the account and the sync.
namespace KeychainItem {
inline const QString token = QStringLiteral("cloudToken");
inline const QString email = QStringLiteral("cloudEmail");
inline const QString tier = QStringLiteral("cloudTier");
inline const QString deviceID = QStringLiteral("cloudDeviceID");
} // namespace KeychainItem

// "cloudDeviceID": created by whichever of the account and the sync first needs it, as a random
// UUID's upper-case hyphenated text, stored before it is used, then reused.
inline QString ensureDeviceID(Keychain &keychain)
{
    if (const auto stored = keychain.get(KeychainItem::deviceID))
        return *stored;
    const QString created = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    keychain.set(created, KeychainItem::deviceID);
    return created;
}
