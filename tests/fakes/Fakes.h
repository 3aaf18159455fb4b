#pragma once
// In-memory stand-ins for the platform collaborators of the services.
#include "common/Clock.h"
#include "platform/ActiveWindow.h"
#include "platform/Clipboard.h"
#include "platform/LoginItem.h"

#include <QMimeData>
#include <QTimeZone>
#include <memory>

class FakeClipboard final : public Clipboard {
public:
    qint64 changeCount() const override { return m_count; }
    const QMimeData *contents() const override { return m_data.get(); }
    void write(QMimeData *data) override
    {
        m_data.reset(data);
        ++m_count;
        ++writes;
    }
    // Another application copies.
    void copy(QMimeData *data)
    {
        m_data.reset(data);
        ++m_count;
    }
    void copyText(const QString &text)
    {
        auto *data = new QMimeData;
        data->setText(text);
        copy(data);
    }
    int writes = 0;

private:
    std::unique_ptr<QMimeData> m_data;
    qint64 m_count = 0;
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
