// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The requests of the account and the sync to the vendor's web service: JSON over HTTP with an
// optional bearer token, a 60-second time-out, answers delivered on the caller's thread.
#include <QJsonObject>
#include <QObject>
#include <QUrl>
#include <functional>
#include <optional>

class QNetworkAccessManager;

struct ServiceResponse {
    int status = 0;     // the HTTP status; 0 when there was no HTTP answer (transport error)
    QJsonObject object; // a 2xx body that is a JSON object; empty for anything else
    bool isSuccess() const { return status >= 200 && status <= 299; }
};

class ServiceClient {
public:
    static constexpr int timeoutMs = 60 * 1000;

    // `root`: the web-service root (DiagnosticsConfig::serviceRoot()); empty = no service.
    ServiceClient(QNetworkAccessManager &network, const QString &root);

    // While no usable root is configured nothing is sent.
    bool isAvailable() const { return m_root.isValid(); }
    // The root joined with `path` ("/app/connect"); invalid without a service.
    QUrl address(const QString &path) const;

    // Sends to the root joined with "api" and `path`. `done` runs once on `context`'s thread,
    // unless `context` is gone by then. Without a service it gets status 0 and nothing is sent.
    void send(const QByteArray &method, const QString &path, const std::optional<QString> &token,
              const std::optional<QJsonObject> &body, QObject *context,
              std::function<void(const ServiceResponse &)> done) const;

private:
    QNetworkAccessManager &m_network;
    QUrl m_root;
};
