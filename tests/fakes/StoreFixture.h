// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A history store in a temporary directory with in-memory settings and a fake clock.
#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "fakes/Fakes.h"
#include "platform/DefaultsStore.h"

#include <QBuffer>
#include <QImage>
#include <QTemporaryDir>

struct StoreFixture {
    QTemporaryDir tmp;
    DefaultsStore defaults{QString()};
    FakeLoginItem login;
    AppSettings settings{defaults, login};
    FakeClock clock;
    QList<std::pair<QString, QVariantMap>> events;
    std::unique_ptr<HistoryStore> store;

    StoreFixture() { reopen(); }
    QString dir() const { return tmp.path() + QStringLiteral("/Stashwell"); }
    RecordUsage recorder()
    {
        return [this](const QString &name, const QVariantMap &props) { events.append({name, props}); };
    }
    HistoryStore &reopen()
    {
        store.reset(); // a pending save is dropped with the old instance, as at a crash
        store = std::make_unique<HistoryStore>(dir(), settings, clock, recorder());
        store->waitForLoad();
        return *store;
    }

    // An encoded image of one colour ("PNG", "TIFF", ...).
    static QByteArray encodedImage(int w, int h, const QColor &fill = Qt::blue, const char *format = "PNG")
    {
        QImage image(w, h, QImage::Format_ARGB32);
        image.fill(fill);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, format);
        return bytes;
    }
    static ClipCapture image(int w, int h, const QColor &fill = Qt::blue)
    {
        ClipCapture c;
        c.kind = ClipKind::image;
        c.imageData = encodedImage(w, h, fill);
        return c;
    }

    static ClipCapture text(const QString &text, const QString &app = QStringLiteral("org.kde.kate"),
                            ClipKind kind = ClipKind::text)
    {
        ClipCapture c;
        c.kind = kind;
        c.text = text;
        c.sourceAppBundleID = app;
        c.sourceAppName = app.section(QLatin1Char('.'), -1);
        return c;
    }
};
