// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The optional sign-in to the vendor's web service. The browser does the sign-in
// (PKCE, S256); the result comes back as stashwell://auth?code=…&state=… and the code plus the
// verifier are traded for a session token kept in the keychain.
#include "cloud/ServiceClient.h"

#include <QObject>
#include <QUrl>
#include <functional>
#include <optional>

class Keychain;
class QNetworkAccessManager;

class CloudAccount : public QObject {
    Q_OBJECT
public:
    struct State {
        bool signedIn = false;
        QString email; // signed in only
        QString tier;  // signed in only
        static State signedOut() { return {}; }
        static State signedInAs(const QString &email, const QString &tier) { return {true, email, tier}; }
        bool operator==(const State &) const = default;
    };

    static inline const QString defaultTier = QStringLiteral("free");

    // Opens a web address in the default browser (QDesktopServices::openUrl in the application).
    using UrlOpener = std::function<bool(const QUrl &)>;

    // Reads the stored account from the keychain; no network access.
    CloudAccount(Keychain &keychain, QNetworkAccessManager &network, const QString &serviceRoot,
                 UrlOpener openUrl, QObject *parent = nullptr);
    static CloudAccount &shared();

    State state() const { return m_state; }
    std::optional<QString> pendingVerifier() const { return m_pendingVerifier; }
    std::optional<QString> pendingState() const { return m_pendingState; }
    // False while no web-service root is configured: sign-in is not available, nothing is sent.
    bool isAvailable() const { return m_client.isAvailable(); }

    // At launch: refreshes the account in the background when a token is stored.
    void start();
    // Main thread. Starts a sign-in in the browser, replacing any sign-in in progress. Returns
    // the page's address, for a user without a browser here; empty without a service.
    QUrl signIn();
    // Main thread. True when `url` is this sign-in's callback and the code exchange has started.
    bool handleCallback(const QUrl &url);
    // Main thread. Signs out locally at once; tells the service in the background.
    void signOut();
    // Re-reads the account details from the service.
    void refresh();

    // PKCE S256: base64url (no "=") of the SHA-256 of the verifier's UTF-8 bytes.
    static QString challenge(const QString &verifier);
    // `byteCount` bytes from the system's cryptographic generator, base64url without "=".
    static QString randomURLSafe(int byteCount);

signals:
    // Every assignment of `state`, equal values included; always on the object's thread.
    void stateChanged(const CloudAccount::State &state);
    // A request to the service ended, after its effects; `status` 0 = no HTTP answer.
    void requestFinished(const QString &path, int status);

private:
    void exchange(const QString &code, const QString &verifier);
    void setState(const State &state);
    void removeAccountItems();
    // The e-mail and tier of a response, with their defaults, stored and made the state.
    void adopt(const QJsonObject &details);

    Keychain &m_keychain;
    ServiceClient m_client;
    UrlOpener m_openUrl;
    State m_state;
    std::optional<QString> m_pendingVerifier;
    std::optional<QString> m_pendingState;
};

Q_DECLARE_METATYPE(CloudAccount::State)
