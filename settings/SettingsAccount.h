// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// What the account tab needs of the cloud account and the settings sync:
// a seam, so that the tab does not depend on how the account is built. The composition root
// adapts CloudAccount / CloudSync to it.
#include <QObject>
#include <QString>

class SettingsAccount : public QObject {
    Q_OBJECT
public:
    enum class Status { signedOut, signedIn };
    using QObject::QObject;

    virtual Status status() const = 0;
    virtual QString email() const = 0; // while signed in
    virtual QString tier() const = 0;  // while signed in ("free", ...)
    // False while no web service is configured (STASHWELL_SERVICE_URL empty): sign-in is
    // then not offered.
    virtual bool isAvailable() const = 0;
    virtual void signIn() = 0;  // opens the browser sign-in
    virtual void signOut() = 0; // signed out at once; the service is told in the background
    virtual bool syncEnabled() const = 0;
    virtual void setSyncEnabled(bool enabled) = 0;

signals:
    // Any of the values above changed.
    void changed();
};

class CloudAccount;
class CloudSync;

// The account tab over the real cloud account and settings sync.
class CloudSettingsAccount final : public SettingsAccount {
    Q_OBJECT
public:
    CloudSettingsAccount(CloudAccount &account, CloudSync &sync, QObject *parent = nullptr);
    Status status() const override;
    QString email() const override;
    QString tier() const override;
    bool isAvailable() const override;
    void signIn() override;
    void signOut() override;
    bool syncEnabled() const override;
    void setSyncEnabled(bool enabled) override;

private:
    CloudAccount &m_account;
    CloudSync &m_sync;
};
