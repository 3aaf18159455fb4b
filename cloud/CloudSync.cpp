// SPDX-License-Identifier: GPL-3.0-or-later
#include "cloud/CloudSync.h"

#include "app/AppSettings.h"
#include "cloud/CloudAccount.h"
#include "cloud/Keychain.h"
#include "cloud/SyncPayload.h"
#include "platform/DefaultsStore.h"

#include <QJsonObject>
#include <cmath>

namespace {

const QString syncPath = QStringLiteral("/sync/stashwell");

// The response's `version` when it is an integer.
std::optional<qint64> integerVersion(const QJsonObject &object)
{
    const QJsonValue value = object.value(QLatin1String("version"));
    const double number = value.toDouble();
    if (!value.isDouble() || std::trunc(number) != number || std::abs(number) >= 9.0e15)
        return std::nullopt;
    return qint64(number);
}

} // namespace

CloudSync::CloudSync(AppSettings &settings, CloudAccount &account, Keychain &keychain, DefaultsStore &defaults,
                     QNetworkAccessManager &network, const QString &serviceRoot, int pushDelayMs, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_account(account)
    , m_keychain(keychain)
    , m_defaults(defaults)
    , m_client(network, serviceRoot)
    , m_enabled(defaults.boolValue(enabledKey).value_or(true))
{
    m_pushWork.setSingleShot(true);
    m_pushWork.setInterval(pushDelayMs);
    connect(&m_pushWork, &QTimer::timeout, this, &CloudSync::pushIfChanged);
}

void CloudSync::start()
{
    connect(&m_settings, &AppSettings::changed, this, &CloudSync::schedulePush);
    connect(&m_account, &CloudAccount::stateChanged, this, [this](const CloudAccount::State &state) {
        if (state.signedIn)
            pull(false);
    });
    if (m_account.state().signedIn) // the current value is delivered at subscription
        pull(false);
}

void CloudSync::setEnabled(bool enabled)
{
    m_enabled = enabled;
    m_defaults.set(enabledKey, enabled);
    emit enabledChanged(enabled);
    if (enabled)
        pull(false);
}

// Without a web-service root nothing is sent: sync behaves as if signed out.
std::optional<QString> CloudSync::token() const
{
    return m_client.isAvailable() ? m_keychain.get(KeychainItem::token) : std::nullopt;
}

void CloudSync::schedulePush()
{
    if (m_enabled && !m_applyingRemote && token())
        m_pushWork.start(); // restarts the wait of a push already pending
}

void CloudSync::pushIfChanged()
{
    if (!m_enabled || !token())
        return;
    const QString blob = snapshotBlob();
    if (m_defaults.stringValue(lastBlobKey) != blob)
        push(blob);
}

QString CloudSync::snapshotBlob() const
{
    return SyncPayload::from(m_settings).blob();
}

qint64 CloudSync::baseVersion() const
{
    return m_defaults.intValue(baseVersionKey).value_or(0);
}

void CloudSync::push(const QString &blob)
{
    const std::optional<QString> bearer = token();
    if (!bearer)
        return;
    setStatus(Status::syncing);
    const QJsonObject body{{QStringLiteral("blob"), blob},
                           {QStringLiteral("baseVersion"), baseVersion()},
                           {QStringLiteral("deviceId"), ensureDeviceID(m_keychain)}};
    m_client.send("PUT", syncPath, bearer, body, this, [this, blob](const ServiceResponse &response) {
        if (response.isSuccess())
            commit(blob, integerVersion(response.object).value_or(baseVersion()));
        else if (response.status == 409)
            pullNow(true);
        else
            setStatus(Status::error); // 401, other statuses and transport errors alike
    });
}

void CloudSync::commit(const QString &blob, qint64 version)
{
    m_defaults.set(baseVersionKey, version);
    m_defaults.set(lastBlobKey, blob);
    setStatus(Status::idle);
}

void CloudSync::pull(bool force)
{
    QMetaObject::invokeMethod(this, [this, force] { pullNow(force); }, Qt::QueuedConnection);
}

void CloudSync::pullNow(bool force)
{
    if (!m_enabled)
        return;
    const std::optional<QString> bearer = token();
    if (!bearer)
        return;
    setStatus(Status::syncing);
    m_client.send("GET", syncPath, bearer, std::nullopt, this, [this, force](const ServiceResponse &response) {
        if (!response.isSuccess()) {
            setStatus(response.status == 401 ? Status::idle : Status::error);
            return;
        }
        const qint64 version = integerVersion(response.object).value_or(0);
        const QJsonValue remoteBlob = response.object.value(QLatin1String("blob"));
        if (version == 0 || !remoteBlob.isString()) {
            push(snapshotBlob()); // the service has nothing usable
        } else if (force || version > baseVersion()) {
            applyRemote(remoteBlob.toString(), version); // a conflict, or the remote side is newer
        } else {
            // The service holds nothing newer than this machine last saw: send local changes.
            const QString local = snapshotBlob();
            if (m_defaults.stringValue(lastBlobKey) == local)
                setStatus(Status::idle);
            else
                push(local);
        }
    });
}

void CloudSync::applyRemote(const QString &blob, qint64 version)
{
    if (const std::optional<SyncPayload> payload = SyncPayload::decode(blob)) {
        m_applyingRemote = true; // the settings' change signals arrive synchronously
        payload->apply(m_settings);
        m_applyingRemote = false;
    }
    // Even a blob that does not decode becomes the base, so it is not taken again as newer.
    m_defaults.set(baseVersionKey, version);
    m_defaults.set(lastBlobKey, blob);
    setStatus(Status::idle);
}

void CloudSync::setStatus(Status status)
{
    if (m_status == status)
        return;
    m_status = status;
    emit statusChanged(status);
}
