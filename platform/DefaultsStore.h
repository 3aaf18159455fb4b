// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QJsonObject>
#include <QJsonValue>
#include <QObject>
#include <QString>

// The per-user defaults store: one JSON object file. JSON keeps
// bool, integer, string and string-list values apart, so a value of the wrong type
// can be told from a missing one. Every change is written at once, atomically.
class DefaultsStore : public QObject {
    Q_OBJECT
public:
    // An empty path keeps the values in memory only (tests).
    explicit DefaultsStore(const QString &path, QObject *parent = nullptr);
    static DefaultsStore &shared();

    QJsonValue object(const QString &key) const { return m_values.value(key); } // Undefined when absent
    bool contains(const QString &key) const { return m_values.contains(key); }
    void set(const QString &key, const QJsonValue &value);
    void remove(const QString &key);

    // Typed reads: std::nullopt when absent or of another type.
    std::optional<bool> boolValue(const QString &key) const { return asBool(object(key)); }
    std::optional<qint64> intValue(const QString &key) const { return asInteger(object(key)); }
    std::optional<QString> stringValue(const QString &key) const { return asString(object(key)); }
    std::optional<QStringList> stringListValue(const QString &key) const { return asStringList(object(key)); }

    // The same typing for a value from elsewhere (a value given on the command line).
    static std::optional<bool> asBool(const QJsonValue &value);
    static std::optional<qint64> asInteger(const QJsonValue &value);
    static std::optional<QString> asString(const QJsonValue &value);
    static std::optional<QStringList> asStringList(const QJsonValue &value);

    QString path() const { return m_path; }

private:
    void save() const;

    QString m_path;
    QJsonObject m_values;
};
