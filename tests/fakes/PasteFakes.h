#pragma once
// In-memory stand-ins for the paste service's, the notice's and the hot key's platform parts.
#include "paste/ToastScheduler.h"
#include "platform/Clipboard.h"
#include "platform/ClipboardSnapshot.h"
#include "platform/HotKeyBackend.h"
#include "platform/KeyPoster.h"

#include <QMap>
#include <QMimeData>
#include <QPointer>
#include <QTimer>
#include <QWidget>

class FakeKeyPoster final : public KeyPoster {
public:
    bool isTrusted() const override { return trusted; }
    QString targetWindowClass() const override { return windowClass; }
    bool postKeyCombination(Qt::KeyboardModifiers modifiers, Qt::Key key) override
    {
        if (!canPost)
            return false;
        posts.append({modifiers, key});
        if (onPost)
            onPost();
        return true;
    }
    bool trusted = true;
    bool canPost = true; // false: an event cannot be created
    QString windowClass;
    QList<std::pair<Qt::KeyboardModifiers, Qt::Key>> posts;
    std::function<void()> onPost; // runs as the keys go out
};

// Takes the clipboard's contents when asked and delivers them `delayMs` later on the main thread.
class FakeSnapshotReader final : public ClipboardSnapshotReader {
public:
    explicit FakeSnapshotReader(const Clipboard &clipboard)
        : m_clipboard(clipboard)
    {
    }
    void read(std::function<void(std::optional<ClipboardSnapshot>)> done) override
    {
        ++reads;
        const std::optional<ClipboardSnapshot> result = failing ? std::nullopt : std::optional(of(m_clipboard.contents()));
        QTimer::singleShot(delayMs, &m_context, [done, result] { done(result); });
    }
    static ClipboardSnapshot of(const QMimeData *data)
    {
        if (!data)
            return {};
        ClipboardItemData item;
        for (const QString &format : data->formats())
            item.append({format, data->data(format)});
        return {item};
    }
    int delayMs = 0;
    bool failing = false;
    int reads = 0;

private:
    const Clipboard &m_clipboard;
    QObject m_context;
};

class FakeHotKeyBackend final : public HotKeyBackend {
public:
    struct Registration {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        quint32 id;
    };
    std::optional<Handle> installHandler(std::function<void(quint32)> handler) override
    {
        handlers.insert(next, std::move(handler));
        return next++;
    }
    void removeHandler(Handle handler) override { handlers.remove(handler); }
    std::optional<Handle> registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 id) override
    {
        if (taken)
            return std::nullopt;
        registrations.insert(next, {key, modifiers, id});
        return next++;
    }
    void unregisterHotKey(Handle hotKey) override { registrations.remove(hotKey); }
    // The user presses a registered combination: every installed handler hears it.
    void press()
    {
        for (const Registration &registration : std::as_const(registrations)) {
            const auto current = handlers;
            for (const auto &handler : current)
                handler(registration.id);
        }
    }
    QMap<Handle, std::function<void(quint32)>> handlers;
    QMap<Handle, Registration> registrations;
    bool taken = false; // another program owns the combination

private:
    Handle next = 1;
};

// A timeline in milliseconds that only moves when the test advances it.
class FakeToastScheduler final : public ToastScheduler {
public:
    struct Fade {
        QPointer<QWidget> window;
        qreal opacity;
        int ms;
        int startedAt;
    };
    Job schedule(int ms, std::function<void()> job) override
    {
        m_pending.insert(m_next, {now + ms, std::move(job)});
        return m_next++;
    }
    void cancel(Job job) override { m_pending.remove(job); }
    void fade(QWidget *window, qreal opacity, int ms, std::function<void()> completion) override
    {
        fades.append({window, opacity, ms, now});
        schedule(ms, [window = QPointer(window), opacity, completion] {
            if (!window)
                return;
            window->setWindowOpacity(opacity);
            if (completion)
                completion();
        });
    }
    // Runs every job that falls due, in time order, moving `now` along.
    void advance(int ms)
    {
        const int target = now + ms;
        for (;;) {
            auto due = m_pending.end();
            for (auto it = m_pending.begin(); it != m_pending.end(); ++it)
                if (it->first <= target && (due == m_pending.end() || it->first < due->first))
                    due = it;
            if (due == m_pending.end())
                break;
            now = due->first;
            const std::function<void()> job = due->second;
            m_pending.erase(due);
            job();
        }
        now = target;
    }
    int pendingCount() const { return int(m_pending.size()); }
    int now = 0;
    QList<Fade> fades;

private:
    QMap<Job, std::pair<int, std::function<void()>>> m_pending;
    Job m_next = 1;
};
