// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// In-memory stand-ins for the platform collaborators of the services.
#include "common/Clock.h"
#include "platform/ActiveWindow.h"
#include "platform/Clipboard.h"
#include "platform/LoginItem.h"

#include <QMimeData>
#include <QTimeZone>
#include <memory>

// The clipboard of a desktop where only the test copies. A read delivers at once what the
// clipboard holds, as the request selects it; with `holdReads` it waits for `finishReads`
// (a slow owner). A read that a newer change overtook gets nothing, as on X11.
class FakeClipboard final : public Clipboard {
public:
    qint64 changeCount() const override { return m_count; }
    const QMimeData *contents() const override { return m_data.get(); }
    void write(QMimeData *data) override
    {
        ++writes;
        change(data);
    }
    void watch(std::function<void()> changed) override { m_changed = std::move(changed); }
    void read(qint64 changeCount, const ClipboardReadRequest &request,
              std::function<void(std::optional<ClipboardItemData>)> done) override
    {
        ++reads;
        m_held.append({changeCount, request, std::move(done)});
        if (!holdReads)
            finishReads();
    }
    void finishReads()
    {
        for (auto &[count, request, done] : std::exchange(m_held, {}))
            done(count == m_count ? std::optional(snapshot(request)) : std::nullopt);
    }
    // Another application copies.
    void copy(QMimeData *data) { change(data); }
    void copyText(const QString &text)
    {
        auto *data = new QMimeData;
        data->setText(text);
        copy(data);
    }
    int writes = 0;
    int reads = 0;
    bool holdReads = false;

private:
    struct Read {
        qint64 count;
        ClipboardReadRequest request;
        std::function<void(std::optional<ClipboardItemData>)> done;
    };
    void change(QMimeData *data)
    {
        m_data.reset(data);
        ++m_count;
        if (m_changed)
            m_changed();
    }
    ClipboardItemData snapshot(const ClipboardReadRequest &request) const
    {
        ClipboardItemData item;
        const QStringList offered = m_data ? m_data->formats() : QStringList();
        for (const ClipboardWant &want : request.wants)
            for (const QString &format : want.candidates(offered))
                if (m_data->data(format).size() <= want.maxBytes) {
                    item.append({format, m_data->data(format)});
                    break;
                }
        return item;
    }
    std::unique_ptr<QMimeData> m_data;
    qint64 m_count = 0;
    std::function<void()> m_changed;
    QList<Read> m_held;
};

class FakeClock final : public Clock {
public:
    QDateTime now() const override { return wall; }
    double uptime() const override { return monotonic; }
    void advance(double seconds)
    {
        monotonic += seconds;
        wall = wall.addMSecs(qint64(seconds * 1000));
    }
    QDateTime wall = QDateTime(QDate(2026, 3, 1), QTime(9, 30), Qt::UTC);
    double monotonic = 1000;
};

class FakeActiveWindow final : public ActiveWindow {
public:
    std::optional<FrontApp> frontmost() const override { return app; }
    std::optional<FrontApp> app;
};

class FakeLoginItem final : public LoginItem {
public:
    QString registerItem() override
    {
        ++registered;
        return error;
    }
    QString unregisterItem() override
    {
        ++unregistered;
        return error;
    }
    int registered = 0;
    int unregistered = 0;
    QString error;
};
