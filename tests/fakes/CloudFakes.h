// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// In-memory stand-ins for the keychain and the browser of the cloud account and sync.
#include "cloud/Keychain.h"

#include <QMap>
#include <QUrl>

// The keychain as a map: the same three operations, absent and empty kept apart.
class MemoryKeychain final : public Keychain {
public:
    std::optional<QString> get(const QString &account) override
    {
        return items.contains(account) ? std::optional(items.value(account)) : std::nullopt;
    }
    void set(const std::optional<QString> &value, const QString &account) override
    {
        if (value)
            items.insert(account, *value);
        else
            items.remove(account);
    }
    void remove(const QString &account) override { items.remove(account); }

    QMap<QString, QString> items;
};

// The browser: records every address it was asked to open.
struct FakeBrowser {
    QList<QUrl> opened;
    auto opener()
    {
        return [this](const QUrl &url) {
            opened << url;
            return true;
        };
    }
};
