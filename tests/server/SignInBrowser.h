// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The browser's part of a sign-in at the reference server, driven over HTTP: it
// loads the sign-in page that the application opened, submits the page's form with an e-mail
// address and returns where the form redirects, stashwell://auth?code=…&state=… (an empty URL
// when a step fails). The form is posted back to the page's own address.
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QUrlQuery>

inline QUrl signInAtPage(QNetworkAccessManager &network, const QUrl &connectUrl, const QString &email)
{
    QNetworkReply *page = network.get(QNetworkRequest(connectUrl));
    QSignalSpy pageDone(page, &QNetworkReply::finished);
    if (!pageDone.wait(10000) || page->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 200)
        return {};
    page->deleteLater();

    QUrlQuery form(connectUrl);
    form.addQueryItem(QStringLiteral("email"), email);
    QNetworkRequest request(connectUrl.adjusted(QUrl::RemoveQuery));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/x-www-form-urlencoded"));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *submitted = network.post(request, form.toString(QUrl::FullyEncoded).toUtf8());
    QSignalSpy submitDone(submitted, &QNetworkReply::finished);
    if (!submitDone.wait(10000))
        return {};
    submitted->deleteLater();
    return QUrl(QString::fromUtf8(submitted->rawHeader("Location")));
}
