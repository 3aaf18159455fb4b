#pragma once
// Stand-ins for the settings window's and the guide's collaborators: the accessibility
// permission, the one-second timers (fired by hand), the cloud account, and a fixture that
// builds SettingsServices over a real store and settings.
#include "fakes/StoreFixture.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "platform/DesktopEntries.h"
#include "settings/AccessibilityPermission.h"
#include "settings/PollTimer.h"
#include "settings/SettingsAccount.h"
#include "settings/SettingsServices.h"

#include <QPointer>

class FakeAccessibilityPermission final : public AccessibilityPermission {
public:
    bool isTrusted() const override { return trusted; }
    void prompt() override { calls.append(QStringLiteral("prompt")); }
    void openSystemSettings() override { calls.append(QStringLiteral("settings")); }
    bool trusted = false;
    QStringList calls;
};

// Timers that fire only when the test says so. Must outlive the views that use them.
class ManualPollTimers {
public:
    class Timer final : public PollTimer {
    public:
        explicit Timer(ManualPollTimers &owner)
            : m_owner(owner)
        {
        }
        ~Timer() override { m_owner.m_timers.removeAll(this); }
        void start(int intervalMs, std::function<void()> tick) override
        {
            interval = intervalMs;
            m_tick = std::move(tick);
            active = true;
        }
        void stop() override { active = false; }
        bool isActive() const override { return active; }
        void fire()
        {
            if (active && m_tick)
                m_tick();
        }
        int interval = 0;
        bool active = false;

    private:
        ManualPollTimers &m_owner;
        std::function<void()> m_tick;
    };

    PollTimerFactory factory()
    {
        return [this] {
            auto timer = std::make_unique<Timer>(*this);
            m_timers.append(timer.get());
            ++m_created;
            return timer;
        };
    }
    // Fires every live timer once (one second passes).
    void fireAll()
    {
        const QList<Timer *> timers = m_timers; // a tick may create or destroy views
        for (Timer *timer : timers)
            if (m_timers.contains(timer))
                timer->fire();
    }
    Timer *last() const { return m_timers.isEmpty() ? nullptr : m_timers.last(); }
    int live() const { return int(m_timers.size()); }
    int created() const { return m_created; }

private:
    QList<Timer *> m_timers;
    int m_created = 0;
};

class FakeSettingsAccount final : public SettingsAccount {
public:
    Status status() const override { return m_status; }
    QString email() const override { return m_email; }
    QString tier() const override { return QStringLiteral("free"); }
    bool isAvailable() const override { return available; }
    void signIn() override { ++signIns; }
    void signOut() override
    {
        ++signOuts;
        setSignedIn({});
    }
    bool syncEnabled() const override { return sync; }
    void setSyncEnabled(bool enabled) override { sync = enabled; }

    void setSignedIn(const std::optional<QString> &email)
    {
        m_status = email ? Status::signedIn : Status::signedOut;
        m_email = email.value_or(QString());
        emit changed();
    }
    bool available = true;
    bool sync = false;
    int signIns = 0;
    int signOuts = 0;

private:
    Status m_status = Status::signedOut;
    QString m_email;
};

struct SettingsFixture : StoreFixture {
    FrameworkLanguage framework{{}, [] { return QStringList{QStringLiteral("en-US")}; }};
    L10n l10n{defaults, framework, [] { return QStringList{QStringLiteral("en-US")}; }};
    DesktopEntries entries{QStringLiteral("C")};
    AppIconCache icons{entries};
    FakeAccessibilityPermission permission;
    AccessibilityGrant accessibility{permission};
    FakeSettingsAccount account;
    ManualPollTimers timers;
    int clearRequests = 0;
    QList<QStringList> chooserAnswers; // one answer per "Add App…"
    int iconClicks = 0;

    SettingsServices services(std::optional<SettingsUpdater> updater = std::nullopt)
    {
        return SettingsServices{settings, l10n, *store, entries, icons, accessibility, account, std::move(updater),
                                [this] { ++clearRequests; },
                                [this](QWidget *) {
                                    return chooserAnswers.isEmpty() ? QStringList() : chooserAnswers.takeFirst();
                                },
                                [this] { ++iconClicks; }, timers.factory(), QStringLiteral("0.1.0")};
    }
};
