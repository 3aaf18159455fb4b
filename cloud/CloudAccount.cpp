// SPDX-License-Identifier: GPL-3.0-or-later
#include "cloud/CloudAccount.h"

#include "cloud/Keychain.h"

#include <QCryptographicHash>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QThread>
#include <QUrlQuery>
#include <vector>

namespace {

QString base64url(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

// The value of the first query item named `name`; nullopt when missing or empty.
std::optional<QString> firstItem(const QUrlQuery &query, const QString &name)
{
    for (const auto &[key, value] : query.queryItems(QUrl::FullyDecoded))
        if (key == name)
            return value.isEmpty() ? std::nullopt : std::optional(value);
    return std::nullopt;
}

QString stringOr(const QJsonObject &object, const char *key, const QString &fallback)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isString() ? value.toString() : fallback;
}

} // namespace

CloudAccount::CloudAccount(Keychain &keychain, QNetworkAccessManager &network, const QString &serviceRoot,
                           UrlOpener openUrl, QObject *parent)
    : QObject(parent)
    , m_keychain(keychain)
    , m_client(network, serviceRoot)
    , m_openUrl(std::move(openUrl))
{
    qRegisterMetaType<CloudAccount::State>();
    if (m_keychain.get(KeychainItem::token))
        m_state = State::signedInAs(m_keychain.get(KeychainItem::email).value_or(QString()),
                                    m_keychain.get(KeychainItem::tier).value_or(defaultTier));
}

QString CloudAccount::randomURLSafe(int byteCount)
{
    std::vector<quint32> words((byteCount + 3) / 4);
    QRandomGenerator::system()->fillRange(words.data(), qsizetype(words.size()));
    return base64url(QByteArray(reinterpret_cast<const char *>(words.data()), byteCount));
}

QString CloudAccount::challenge(const QString &verifier)
{
    return base64url(QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256));
}

void CloudAccount::start()
{
    if (m_keychain.get(KeychainItem::token))
        refresh();
}

QUrl CloudAccount::signIn()
{
    if (!isAvailable())
        return {};
    const QString verifier = randomURLSafe(32);
    const QString state = randomURLSafe(16);
    m_pendingVerifier = verifier; // a sign-in in progress is replaced: its callback is refused
    m_pendingState = state;

    QUrl url = m_client.address(QStringLiteral("/app/connect"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("app"), QStringLiteral("stashwell"));
    query.addQueryItem(QStringLiteral("challenge"), challenge(verifier));
    query.addQueryItem(QStringLiteral("state"), state);
    url.setQuery(query);
    m_openUrl(url);
    return url;
}

bool CloudAccount::handleCallback(const QUrl &url)
{
    if (url.host() != QLatin1String("auth"))
        return false;
    const QUrlQuery query(url);
    const std::optional<QString> code = firstItem(query, QStringLiteral("code"));
    const std::optional<QString> state = firstItem(query, QStringLiteral("state"));
    if (!code || !state)
        return false;
    if (!m_pendingState || *m_pendingState != *state || !m_pendingVerifier)
        return false;
    const QString verifier = *m_pendingVerifier;
    m_pendingState.reset();
    m_pendingVerifier.reset();
    exchange(*code, verifier);
    return true;
}

void CloudAccount::exchange(const QString &code, const QString &verifier)
{
    const QJsonObject body{{QStringLiteral("code"), code},
                           {QStringLiteral("verifier"), verifier},
                           {QStringLiteral("deviceId"), ensureDeviceID(m_keychain)}};
    const QString path = QStringLiteral("/app/token");
    m_client.send("POST", path, std::nullopt, body, this, [this, path](const ServiceResponse &response) {
        const QJsonValue token = response.object.value(QLatin1String("token"));
        if (!response.isSuccess() || !token.isString()) {
            setState(State::signedOut());
        } else {
            m_keychain.set(token.toString(), KeychainItem::token);
            adopt(response.object);
        }
        emit requestFinished(path, response.status);
    });
}

void CloudAccount::adopt(const QJsonObject &details)
{
    const QString email = stringOr(details, "email", QString());
    const QString tier = stringOr(details, "tier", defaultTier);
    m_keychain.set(email, KeychainItem::email);
    m_keychain.set(tier, KeychainItem::tier);
    setState(State::signedInAs(email, tier));
}

void CloudAccount::refresh()
{
    const std::optional<QString> token = m_keychain.get(KeychainItem::token);
    if (!token || !isAvailable())
        return;
    const QString path = QStringLiteral("/me");
    m_client.send("GET", path, token, std::nullopt, this, [this, path, token](const ServiceResponse &response) {
        // An answer about a token that was signed out or replaced meanwhile changes nothing.
        if (m_keychain.get(KeychainItem::token) == token) {
            if (response.isSuccess()) {
                adopt(response.object);
            } else if (response.status == 401) {
                removeAccountItems();
                setState(State::signedOut());
            } // any other failure: the stored account stays as it is
        }
        emit requestFinished(path, response.status);
    });
}

void CloudAccount::signOut()
{
    if (const std::optional<QString> token = m_keychain.get(KeychainItem::token); token && isAvailable()) {
        const QString path = QStringLiteral("/app/logout");
        m_client.send("POST", path, token, QJsonObject(), this,
                      [this, path](const ServiceResponse &response) { emit requestFinished(path, response.status); });
    }
    removeAccountItems();
    setState(State::signedOut());
}

void CloudAccount::removeAccountItems()
{
    m_keychain.remove(KeychainItem::token);
    m_keychain.remove(KeychainItem::email);
    m_keychain.remove(KeychainItem::tier);
}

void CloudAccount::setState(const State &state)
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, [this, state] { setState(state); }, Qt::QueuedConnection);
        return;
    }
    m_state = state;
    emit stateChanged(m_state);
}
