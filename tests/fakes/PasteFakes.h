// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// In-memory stand-ins for the platform services behind pasting, the notice and the hot key.
#include "paste/ToastScheduler.h"
#include "platform/Clipboard.h"
#include "platform/ClipboardSnapshot.h"
#include "platform/HotKeyBackend.h"
#include "platform/KeyPoster.h"

#include <QKeyCombination>
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
        std::optional<ClipboardSnapshot> result;
        if (!failing)
            result = m_clipboard.contents() ? ClipboardSnapshot{item(*m_clipboard.contents())} : ClipboardSnapshot();
        QTimer::singleShot(delayMs, &m_context, [this, done, result] {
            ++delivered;
            done(result);
        });
    }
    static ClipboardItemData item(const QMimeData &data)
    {
        ClipboardItemData item;
        for (const QString &format : data.formats())
            item.append({format, data.data(format)});
        return item;
    }
    int delayMs = 0;
    bool failing = false;
    int reads = 0;
    int delivered = 0; // reads whose result has been handed over

private:
    const Clipboard &m_clipboard;
    QObject m_context;
};

// A timeline in milliseconds that only moves when the test advances it.
class FakeToastScheduler final : public ToastScheduler {
public:
    Job schedule(int ms, std::function<void()> job) override
    {
        m_jobs.insert(m_next, {now + ms, std::move(job)});
        return m_next++;
    }
    void cancel(Job job) override { m_jobs.remove(job); }
    void fade(QWidget *window, qreal opacity, int ms, std::function<void()> completion) override
    {
        fades.append(opacity);
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
        const auto earliest = [this] {
            return std::min_element(m_jobs.begin(), m_jobs.end(), [](auto &a, auto &b) { return a.first < b.first; });
        };
        for (auto due = earliest(); due != m_jobs.end() && due->first <= target; due = earliest()) {
            now = due->first;
            const std::function<void()> job = due->second;
            m_jobs.erase(due);
            job();
        }
        now = target;
    }
    int now = 0;
    QList<qreal> fades; // the target opacity of each fade, in order

private:
    QMap<Job, std::pair<int, std::function<void()>>> m_jobs;
    Job m_next = 1;
};

// Grabs by combination; a combination in `taken` is held by another program.
class FakeHotKeyBackend final : public HotKeyBackend {
public:
    std::optional<Handle> installHandler(std::function<void(quint32)> handler) override
    {
        handlers.insert(m_next, std::move(handler));
        return m_next++;
    }
    void removeHandler(Handle handler) override { handlers.remove(handler); }
    Registration registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32) override
    {
        const QKeyCombination combination(modifiers, key);
        if (taken.contains(combination))
            return {std::nullopt, true};
        grabs.insert(m_next, combination);
        return {m_next++, false};
    }
    void unregisterHotKey(Handle hotKey) override { grabs.remove(hotKey); }

    QList<QKeyCombination> taken;
    QMap<Handle, QKeyCombination> grabs;
    QMap<Handle, std::function<void(quint32)>> handlers;

private:
    Handle m_next = 1;
};
