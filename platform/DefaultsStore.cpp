// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DefaultsStore.h"

#include "common/FileSafety.h"
#include "common/Paths.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <cmath>

DefaultsStore::DefaultsStore(const QString &path, QObject *parent)
    : QObject(parent)
    , m_path(path)
{
    if (m_path.isEmpty())
        return;
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return; // first start
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll());
    file.close();
    if (doc.isObject())
        m_values = doc.object();
    else
        FileSafety::keepAside(m_path); // unreadable: start from defaults, keep the old file
}

DefaultsStore &DefaultsStore::shared()
{
    static auto *store = new DefaultsStore(Paths::defaultsFile()); // never destroyed
    return *store;
}

void DefaultsStore::set(const QString &key, const QJsonValue &value)
{
    m_values.insert(key, value);
    save();
}

void DefaultsStore::remove(const QString &key)
{
    if (m_values.contains(key)) {
        m_values.remove(key);
        save();
    }
}

std::optional<bool> DefaultsStore::asBool(const QJsonValue &v)
{
    return v.isBool() ? std::optional(v.toBool()) : std::nullopt;
}

std::optional<qint64> DefaultsStore::asInteger(const QJsonValue &v)
{
    if (!v.isDouble())
        return std::nullopt;
    const double d = v.toDouble();
    if (d != std::trunc(d) || std::abs(d) > 9007199254740992.0)
        return std::nullopt; // a fraction is not an integer
    return qint64(d);
}

std::optional<QString> DefaultsStore::asString(const QJsonValue &v)
{
    return v.isString() ? std::optional(v.toString()) : std::nullopt;
}

std::optional<QStringList> DefaultsStore::asStringList(const QJsonValue &v)
{
    if (!v.isArray())
        return std::nullopt;
    QStringList list;
    for (const QJsonValue &item : v.toArray()) {
        if (!item.isString())
            return std::nullopt;
        list << item.toString();
    }
    return list;
}

void DefaultsStore::save() const
{
    if (m_path.isEmpty())
        return;
    FileSafety::ensurePrivateDir(QFileInfo(m_path).absolutePath());
    FileSafety::writeAtomically(m_path, QJsonDocument(m_values).toJson(QJsonDocument::Indented));
}
