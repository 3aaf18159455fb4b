// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Keeps the ten synchronised preferences (SyncPayload) in step across the user's
// machines while signed in. The whole blob travels with a service version; a stale push is
// refused with 409 and the service's blob then wins. Main thread only.
#include "cloud/ServiceClient.h"

#include <QObject>
#include <QTimer>

class AppSettings;
class CloudAccount;
class DefaultsStore;
class Keychain;
class QNetworkAccessManager;

class CloudSync : public QObject {
    Q_OBJECT
public:
    enum class Status { idle, syncing, error };
    Q_ENUM(Status)

    static inline const QString enabledKey = QStringLiteral("cloudSyncEnabled");
    static inline const QString baseVersionKey = QStringLiteral("cloudSyncBaseVersion");
    static inline const QString lastBlobKey = QStringLiteral("cloudSyncLastBlob");
    static constexpr int defaultPushDelayMs = 2000;

    // Reads "cloudSyncEnabled"; no network access.
    CloudSync(AppSettings &settings, CloudAccount &account, Keychain &keychain, DefaultsStore &defaults,
              QNetworkAccessManager &network, const QString &serviceRoot, int pushDelayMs = defaultPushDelayMs,
              QObject *parent = nullptr);
    static CloudSync &shared();

    // Once at launch, after the account exists: follows the settings and the account state.
    void start();

    bool enabled() const { return m_enabled; }
    void setEnabled(bool enabled);
    Status status() const { return m_status; }
    // True only while a remote payload is being written into the settings.
    bool isApplyingRemote() const { return m_applyingRemote; }

signals:
    void enabledChanged(bool enabled);
    void statusChanged(CloudSync::Status status);

private:
    std::optional<QString> token() const;
    void schedulePush();
    void pushIfChanged();
    QString snapshotBlob() const;
    void push(const QString &blob);
    void commit(const QString &blob, qint64 version);
    void pull(bool force);
    void pullNow(bool force);
    void applyRemote(const QString &blob, qint64 version);
    void setStatus(Status status);
    qint64 baseVersion() const;

    AppSettings &m_settings;
    CloudAccount &m_account;
    Keychain &m_keychain;
    DefaultsStore &m_defaults;
    ServiceClient m_client;
    bool m_enabled;
    Status m_status = Status::idle;
    bool m_applyingRemote = false;
    QTimer m_pushWork; // the pending debounced push
};
