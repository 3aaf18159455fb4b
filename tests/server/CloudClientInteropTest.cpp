// SPDX-License-Identifier: GPL-3.0-or-later
// The cloud account and sync against their real peer: a client signs in through the reference
// server's sign-in page, driven over HTTP as a browser would, pushes its settings and takes the
// service's copy after a conflict.
#include "app/AppSettings.h"
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "fakes/CloudFakes.h"
#include "fakes/Fakes.h"
#include "platform/DefaultsStore.h"
#include "server/ReferenceServerProcess.h"
#include "server/SignInBrowser.h"

#include <QtTest>

class CloudClientInteropTest : public QObject {
    Q_OBJECT

private slots:
    void aSignedInClientPushesAndTakesTheServicesCopyAfterAConflict()
    {
        ReferenceServerProcess server(QStringLiteral(STASHWELL_SERVER_BIN));
        QVERIFY2(server.start(), server.errorOutput().constData());
        QNetworkAccessManager network;
        DefaultsStore defaults{QString()};
        FakeLoginItem loginItem;
        AppSettings settings(defaults, loginItem);
        MemoryKeychain keychain;
        FakeBrowser browser;
        CloudAccount account(keychain, network, server.root().toString(), browser.opener());
        CloudSync sync(settings, account, keychain, defaults, network, server.root().toString(), 100);
        sync.start();
        settings.setHistoryLimit(250);
        QSignalSpy changes(&account, &CloudAccount::stateChanged);
        account.signIn();
        QVERIFY(account.handleCallback(signInAtPage(network, browser.opened.last(), "ada@example.org")));
        QVERIFY(changes.wait(10000));
        QCOMPARE(account.state(), CloudAccount::State::signedInAs("ada@example.org", "free"));
        QTRY_COMPARE_WITH_TIMEOUT(defaults.intValue(CloudSync::baseVersionKey), 1, 10000); // pushed to an empty service

        // Another machine moves the service on to version 2: this one's change based on 1 is
        // refused, and the service's copy replaces it.
        const QByteArray theirs = QJsonDocument(QJsonObject{{"blob", R"({"clearOnQuit":true,"historyLimit":222})"}, {"baseVersion", 1}})
                                      .toJson(QJsonDocument::Compact);
        QNetworkRequest put(server.url("/api/sync/stashwell"));
        put.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
        put.setRawHeader("Authorization", "Bearer " + keychain.items.value(KeychainItem::token).toUtf8());
        QVERIFY(QSignalSpy(network.sendCustomRequest(put, "PUT", theirs), &QNetworkReply::finished).wait(10000));
        settings.setHistoryLimit(999);
        QTRY_COMPARE_WITH_TIMEOUT(defaults.intValue(CloudSync::baseVersionKey), 2, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(sync.status(), CloudSync::Status::idle, 10000);
        QCOMPARE(settings.clearOnQuit(), true);
        QCOMPARE(settings.historyLimit(), 222);
    }
};

QTEST_GUILESS_MAIN(CloudClientInteropTest)
#include "CloudClientInteropTest.moc"
