// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/ServerStore.h"

#include "common/FileSafety.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

namespace {

constexpr int schemaVersion = 1;

const char *const schema[] = {
    "CREATE TABLE accounts (id INTEGER PRIMARY KEY, email TEXT NOT NULL UNIQUE,"
    " tier TEXT NOT NULL DEFAULT 'free', created_at TEXT NOT NULL)",
    "CREATE TABLE auth_codes (code_hash TEXT PRIMARY KEY,"
    " account_id INTEGER NOT NULL REFERENCES accounts(id) ON DELETE CASCADE,"
    " challenge TEXT NOT NULL, expires_at_ms INTEGER NOT NULL)",
    "CREATE TABLE sessions (token_hash TEXT PRIMARY KEY,"
    " account_id INTEGER NOT NULL REFERENCES accounts(id) ON DELETE CASCADE,"
    " device_id TEXT NOT NULL, created_at TEXT NOT NULL, last_used_at TEXT NOT NULL)",
    "CREATE TABLE sync_records (account_id INTEGER PRIMARY KEY REFERENCES accounts(id) ON DELETE CASCADE,"
    " version INTEGER NOT NULL, blob TEXT NOT NULL, device_id TEXT NOT NULL, updated_at TEXT NOT NULL)",
    "CREATE TABLE uploads (id INTEGER PRIMARY KEY AUTOINCREMENT, kind TEXT NOT NULL,"
    " received_at TEXT NOT NULL, account_id INTEGER REFERENCES accounts(id) ON DELETE SET NULL,"
    " install_id TEXT NOT NULL, body BLOB NOT NULL)",
    "CREATE INDEX uploads_by_kind ON uploads(kind, id)",
    // The statistics one row per event, so that they can be queried with plain SQL.
    "CREATE TABLE improve_events (upload_id INTEGER NOT NULL REFERENCES uploads(id) ON DELETE CASCADE,"
    " t REAL NOT NULL, name TEXT NOT NULL, properties TEXT NOT NULL)",
};

// Qt binds a null QString as SQL NULL; text columns here are never NULL.
QString text(const QString &value)
{
    return value.isNull() ? QStringLiteral("") : value;
}

QString now()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

// A new database file is created empty and private before SQLite opens it; SQLite gives
// its journal files the same permissions.
bool preparePrivateFile(const QString &path)
{
    const QFileInfo info(path);
    if (!info.dir().exists() && !FileSafety::ensurePrivateDir(info.absolutePath()))
        return false;
    if (info.exists())
        return true;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    return file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}

bool exec(QSqlQuery &query, QString *error = nullptr)
{
    if (query.exec())
        return true;
    if (error)
        *error = query.lastError().text();
    qWarning("stashwell-server: SQL error: %s", qPrintable(query.lastError().text()));
    return false;
}

} // namespace

ServerStore::ServerStore()
    : m_connection(QStringLiteral("stashwell-server-") + QUuid::createUuid().toString(QUuid::WithoutBraces))
{
}

ServerStore::~ServerStore()
{
    m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connection);
}

bool ServerStore::open(const QString &path, QString *error)
{
    if (!preparePrivateFile(path)) {
        *error = QStringLiteral("cannot create %1").arg(path);
        return false;
    }
    m_db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    if (!m_db.isValid()) {
        *error = QStringLiteral("the Qt SQLite driver is missing (package libqt6sql6-sqlite)");
        return false;
    }
    m_db.setDatabaseName(path);
    m_db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    if (!m_db.open()) {
        *error = m_db.lastError().text();
        return false;
    }
    for (const char *pragma : {"PRAGMA journal_mode=WAL", "PRAGMA foreign_keys=ON", "PRAGMA synchronous=NORMAL"}) {
        QSqlQuery query(m_db);
        query.prepare(QString::fromLatin1(pragma));
        if (!exec(query, error))
            return false;
    }
    return migrate(error);
}

bool ServerStore::migrate(QString *error)
{
    QSqlQuery version(QStringLiteral("PRAGMA user_version"), m_db);
    const int current = version.next() ? version.value(0).toInt() : 0;
    if (current == schemaVersion)
        return true;
    if (current != 0) {
        *error = QStringLiteral("database schema %1 is newer than this server (%2)").arg(current).arg(schemaVersion);
        return false;
    }
    m_db.transaction();
    for (const char *statement : schema) {
        QSqlQuery query(m_db);
        query.prepare(QString::fromLatin1(statement));
        if (!exec(query, error)) {
            m_db.rollback();
            return false;
        }
    }
    QSqlQuery stamp(m_db);
    stamp.prepare(QStringLiteral("PRAGMA user_version=%1").arg(schemaVersion));
    if (!exec(stamp, error)) {
        m_db.rollback();
        return false;
    }
    return m_db.commit();
}

std::optional<ServerStore::Account> ServerStore::findOrCreateAccount(const QString &email)
{
    QSqlQuery insert(m_db);
    insert.prepare(QStringLiteral("INSERT OR IGNORE INTO accounts (email, created_at) VALUES (?, ?)"));
    insert.addBindValue(email);
    insert.addBindValue(now());
    if (!exec(insert))
        return std::nullopt;
    QSqlQuery select(m_db);
    select.prepare(QStringLiteral("SELECT id, email, tier FROM accounts WHERE email = ?"));
    select.addBindValue(email);
    if (!exec(select) || !select.next())
        return std::nullopt;
    return Account{select.value(0).toLongLong(), select.value(1).toString(), select.value(2).toString()};
}

bool ServerStore::storeAuthCode(const QString &codeHash, qint64 accountId, const QString &challenge, qint64 expiresAtMs)
{
    QSqlQuery purge(m_db);
    purge.prepare(QStringLiteral("DELETE FROM auth_codes WHERE expires_at_ms <= ?"));
    purge.addBindValue(QDateTime::currentMSecsSinceEpoch());
    exec(purge);
    QSqlQuery insert(m_db);
    insert.prepare(QStringLiteral("INSERT INTO auth_codes (code_hash, account_id, challenge, expires_at_ms) VALUES (?, ?, ?, ?)"));
    insert.addBindValue(codeHash);
    insert.addBindValue(accountId);
    insert.addBindValue(challenge);
    insert.addBindValue(expiresAtMs);
    return exec(insert);
}

std::optional<ServerStore::AuthCode> ServerStore::consumeAuthCode(const QString &codeHash, qint64 nowMs)
{
    QSqlQuery select(m_db);
    select.prepare(QStringLiteral("SELECT account_id, challenge, expires_at_ms FROM auth_codes WHERE code_hash = ?"));
    select.addBindValue(codeHash);
    if (!exec(select) || !select.next())
        return std::nullopt;
    const AuthCode code{select.value(0).toLongLong(), select.value(1).toString()};
    const qint64 expiresAtMs = select.value(2).toLongLong();
    select.finish();
    QSqlQuery remove(m_db);
    remove.prepare(QStringLiteral("DELETE FROM auth_codes WHERE code_hash = ?"));
    remove.addBindValue(codeHash);
    if (!exec(remove) || remove.numRowsAffected() != 1 || expiresAtMs <= nowMs)
        return std::nullopt;
    return code;
}

bool ServerStore::createSession(const QString &tokenHash, qint64 accountId, const QString &deviceId)
{
    QSqlQuery insert(m_db);
    insert.prepare(QStringLiteral("INSERT INTO sessions (token_hash, account_id, device_id, created_at, last_used_at)"
                                  " VALUES (?, ?, ?, ?, ?)"));
    const QString stamp = now();
    insert.addBindValue(tokenHash);
    insert.addBindValue(accountId);
    insert.addBindValue(text(deviceId));
    insert.addBindValue(stamp);
    insert.addBindValue(stamp);
    return exec(insert);
}

std::optional<ServerStore::Account> ServerStore::accountForToken(const QString &tokenHash)
{
    QSqlQuery select(m_db);
    select.prepare(QStringLiteral("SELECT a.id, a.email, a.tier FROM sessions s JOIN accounts a ON a.id = s.account_id"
                                  " WHERE s.token_hash = ?"));
    select.addBindValue(tokenHash);
    if (!exec(select) || !select.next())
        return std::nullopt;
    const Account account{select.value(0).toLongLong(), select.value(1).toString(), select.value(2).toString()};
    select.finish();
    QSqlQuery touch(m_db);
    touch.prepare(QStringLiteral("UPDATE sessions SET last_used_at = ? WHERE token_hash = ?"));
    touch.addBindValue(now());
    touch.addBindValue(tokenHash);
    exec(touch);
    return account;
}

bool ServerStore::deleteSession(const QString &tokenHash)
{
    QSqlQuery remove(m_db);
    remove.prepare(QStringLiteral("DELETE FROM sessions WHERE token_hash = ?"));
    remove.addBindValue(tokenHash);
    return exec(remove) && remove.numRowsAffected() == 1;
}

std::optional<ServerStore::SyncRecord> ServerStore::syncRecord(qint64 accountId)
{
    QSqlQuery select(m_db);
    select.prepare(QStringLiteral("SELECT version, blob FROM sync_records WHERE account_id = ?"));
    select.addBindValue(accountId);
    if (!exec(select))
        return std::nullopt;
    if (!select.next())
        return SyncRecord{};
    return SyncRecord{select.value(0).toLongLong(), select.value(1).toString()};
}

ServerStore::PutOutcome ServerStore::putSync(qint64 accountId, qint64 baseVersion, const QString &blob,
                                             const QString &deviceId, SyncRecord *after)
{
    if (!m_db.transaction())
        return PutOutcome::Failed;
    const std::optional<SyncRecord> current = syncRecord(accountId);
    if (!current) {
        m_db.rollback();
        return PutOutcome::Failed;
    }
    if (current->version != baseVersion) {
        m_db.rollback();
        *after = *current;
        return PutOutcome::Conflict;
    }
    QSqlQuery upsert(m_db);
    upsert.prepare(QStringLiteral("INSERT INTO sync_records (account_id, version, blob, device_id, updated_at)"
                                  " VALUES (?, ?, ?, ?, ?) ON CONFLICT(account_id) DO UPDATE SET"
                                  " version = excluded.version, blob = excluded.blob,"
                                  " device_id = excluded.device_id, updated_at = excluded.updated_at"));
    upsert.addBindValue(accountId);
    upsert.addBindValue(current->version + 1);
    upsert.addBindValue(text(blob));
    upsert.addBindValue(text(deviceId));
    upsert.addBindValue(now());
    if (!exec(upsert) || !m_db.commit()) {
        m_db.rollback();
        return PutOutcome::Failed;
    }
    *after = SyncRecord{current->version + 1, blob};
    return PutOutcome::Stored;
}

std::optional<qint64> ServerStore::storeUpload(const QString &kind, std::optional<qint64> accountId,
                                               const QString &installId, const QByteArray &body,
                                               const QList<QJsonObject> &events)
{
    if (!m_db.transaction())
        return std::nullopt;
    QSqlQuery insert(m_db);
    insert.prepare(QStringLiteral("INSERT INTO uploads (kind, received_at, account_id, install_id, body) VALUES (?, ?, ?, ?, ?)"));
    insert.addBindValue(kind);
    insert.addBindValue(now());
    insert.addBindValue(accountId ? QVariant(*accountId) : QVariant(QMetaType::fromType<qint64>()));
    insert.addBindValue(text(installId));
    insert.addBindValue(body);
    if (!exec(insert)) {
        m_db.rollback();
        return std::nullopt;
    }
    const qint64 id = insert.lastInsertId().toLongLong();
    for (const QJsonObject &event : events) {
        QSqlQuery row(m_db);
        row.prepare(QStringLiteral("INSERT INTO improve_events (upload_id, t, name, properties) VALUES (?, ?, ?, ?)"));
        row.addBindValue(id);
        row.addBindValue(event.value(QStringLiteral("t")).toDouble());
        row.addBindValue(text(event.value(QStringLiteral("n")).toString()));
        row.addBindValue(QString::fromUtf8(QJsonDocument(event.value(QStringLiteral("p")).toObject()).toJson(QJsonDocument::Compact)));
        if (!exec(row)) {
            m_db.rollback();
            return std::nullopt;
        }
    }
    if (!m_db.commit())
        return std::nullopt;
    return id;
}

QList<ServerStore::Upload> ServerStore::uploads(const QString &kind)
{
    QSqlQuery select(m_db);
    select.prepare(QStringLiteral("SELECT u.id, u.kind, u.received_at, COALESCE(a.email, ''), u.body FROM uploads u"
                                  " LEFT JOIN accounts a ON a.id = u.account_id"
                                  " WHERE ? = '' OR u.kind = ? ORDER BY u.id"));
    select.addBindValue(text(kind));
    select.addBindValue(text(kind));
    QList<Upload> result;
    if (!exec(select))
        return result;
    while (select.next()) {
        result.append({select.value(0).toLongLong(), select.value(1).toString(), select.value(2).toString(),
                       select.value(3).toString(), select.value(4).toByteArray()});
    }
    return result;
}
