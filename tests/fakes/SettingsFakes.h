// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The settings window's and the guide's collaborators: the accessibility permission, the
// one-second timers (fired by hand), and a fixture with a real store, settings and cloud account.
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "fakes/CloudFakes.h"
#include "fakes/StoreFixture.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "platform/DesktopEntries.h"
#include "settings/AccessibilityPermission.h"
#include "settings/PollTimer.h"
#include "settings/SettingsAccount.h"
#include "settings/SettingsServices.h"

#include <QNetworkAccessManager>

struct FakeAccessibilityPermission final : AccessibilityPermission {
    bool isTrusted() const override { return trusted; }
    bool trusted = false;
};

// Timers that tick only when the test fires them. Must outlive the views that use them.
struct ManualPollTimers {
    struct Timer final : PollTimer {
        explicit Timer(QList<Timer *> &live) : live(live) { live << this; }
        ~Timer() override { live.removeAll(this); }
        void start(int, std::function<void()> callback) override { tick = std::move(callback); }
        void stop() override { tick = nullptr; }
        bool isActive() const override { return bool(tick); }
        QList<Timer *> &live;
        std::function<void()> tick;
    };

    PollTimerFactory factory() { return [this] { return std::make_unique<Timer>(live); }; }
    // One second passes: every live timer ticks once (a tick may create or destroy views).
    void fireAll()
    {
        for (Timer *timer : QList(live))
            if (live.contains(timer) && timer->tick)
                timer->tick();
    }
    QList<Timer *> live;
};

// The real cloud account and sync over an in-memory keychain; nothing listens at `root`, and
// signing in only opens the (fake) browser.
struct CloudStack {
    CloudStack(StoreFixture &f, const QString &root, const QMap<QString, QString> &stored = {})
        : account((keychain.items = stored, keychain), network, root, browser.opener())
        , sync(f.settings, account, keychain, f.defaults, network, root)
    {
    }
    MemoryKeychain keychain;
    QNetworkAccessManager network;
    FakeBrowser browser;
    CloudAccount account;
    CloudSync sync;
    CloudSettingsAccount adapter{account, sync};
};

struct SettingsFixture : StoreFixture {
    FrameworkLanguage framework{{}, [] { return QStringList{QStringLiteral("en-US")}; }};
    L10n l10n{defaults, framework, [] { return QStringList{QStringLiteral("en-US")}; }};
    DesktopEntries entries{QStringLiteral("C")};
    AppIconCache icons{entries};
    FakeAccessibilityPermission permission;
    std::unique_ptr<CloudStack> cloud = std::make_unique<CloudStack>(*this, QStringLiteral("http://127.0.0.1:9/"));
    ManualPollTimers timers;
    QList<QStringList> chooserAnswers; // one answer per "Add App…"
    QString serviceHost;               // the web service's host name; empty: none is configured
    bool captureLimited = false;       // the desktop keeps other applications' copies from Stashwell

    SettingsServices services()
    {
        const auto choose = [this](QWidget *) { return chooserAnswers.isEmpty() ? QStringList() : chooserAnswers.takeFirst(); };
        SettingsServices services{settings, l10n, *store, entries, icons, permission, cloud->adapter,
                                  std::nullopt, {}, choose, {}, timers.factory(), QStringLiteral("0.1.0"),
                                  serviceHost};
        services.captureLimited = [this] { return captureLimited; };
        return services;
    }
};
