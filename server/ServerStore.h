// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QJsonObject>
#include <QList>
#include <QSqlDatabase>
#include <QString>
#include <optional>

// The reference service's SQLite database: accounts, one-time sign-in codes, sessions,
// one sync record per account, and the uploaded diagnostics. Secrets are stored hashed.
class ServerStore {
public:
    struct Account {
        qint64 id = 0;
        QString email;
        QString tier;
    };
    struct AuthCode {
        qint64 accountId = 0;
        QString challenge;
    };
    struct SyncRecord {
        qint64 version = 0; // 0: nothing stored yet
        QString blob;
    };
    enum class PutOutcome { Stored, Conflict, Failed };
    struct Upload {
        qint64 id = 0;
        QString kind;
        QString receivedAt;
        QString accountEmail; // empty when the upload carried no valid token
        QByteArray body;
    };

    ServerStore();
    ~ServerStore();
    ServerStore(const ServerStore &) = delete;
    ServerStore &operator=(const ServerStore &) = delete;

    // Opens (creating it 0600 when new) and migrates the database.
    bool open(const QString &path, QString *error);

    std::optional<Account> findOrCreateAccount(const QString &email);
    bool storeAuthCode(const QString &codeHash, qint64 accountId, const QString &challenge, qint64 expiresAtMs);
    // Removes the code whatever follows, so each code is tried at most once.
    std::optional<AuthCode> consumeAuthCode(const QString &codeHash, qint64 nowMs);

    bool createSession(const QString &tokenHash, qint64 accountId, const QString &deviceId);
    std::optional<Account> accountForToken(const QString &tokenHash);
    bool deleteSession(const QString &tokenHash);

    std::optional<SyncRecord> syncRecord(qint64 accountId);
    // Stores `blob` as version current+1 when `baseVersion` is the current version.
    PutOutcome putSync(qint64 accountId, qint64 baseVersion, const QString &blob, const QString &deviceId,
                       SyncRecord *after);

    std::optional<qint64> storeUpload(const QString &kind, std::optional<qint64> accountId,
                                      const QString &installId, const QByteArray &body,
                                      const QList<QJsonObject> &events);
    // Oldest first; an empty kind lists every kind.
    QList<Upload> uploads(const QString &kind);

private:
    bool migrate(QString *error);

    QString m_connection;
    QSqlDatabase m_db;
};
