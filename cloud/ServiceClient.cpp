// SPDX-License-Identifier: GPL-3.0-or-later
#include "cloud/ServiceClient.h"

#include "diagnostics/DiagnosticsConfig.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

ServiceClient::ServiceClient(QNetworkAccessManager &network, const QString &root)
    : m_network(network)
    , m_root(DiagnosticsConfig::endpoint(root, QString()))
{
}

QUrl ServiceClient::address(const QString &path) const
{
    return isAvailable() ? DiagnosticsConfig::endpoint(m_root.toString(), path) : QUrl();
}

void ServiceClient::send(const QByteArray &method, const QString &path, const std::optional<QString> &token,
                         const std::optional<QJsonObject> &body, QObject *context,
                         std::function<void(const ServiceResponse &)> done) const
{
    if (!isAvailable()) {
        QTimer::singleShot(0, context, [done] { done({}); });
        return;
    }
    QNetworkRequest request(address(QStringLiteral("/api") + path));
    request.setTransferTimeout(timeoutMs);
    if (token)
        request.setRawHeader("Authorization", "Bearer " + token->toUtf8());
    QByteArray payload;
    if (body) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        payload = QJsonDocument(*body).toJson(QJsonDocument::Compact);
    }
    QNetworkReply *reply = m_network.sendCustomRequest(request, method, payload);
    // Deleted once finished, whether or not `context` still exists.
    QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    QObject::connect(reply, &QNetworkReply::finished, context, [reply, done] {
        ServiceResponse response;
        // An HTTP error status is an answer; only a missing status is a transport error.
        response.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (response.isSuccess())
            response.object = QJsonDocument::fromJson(reply->readAll()).object(); // not an object: {}
        done(response);
    });
}
