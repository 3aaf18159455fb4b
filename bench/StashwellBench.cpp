// SPDX-License-Identifier: GPL-3.0-or-later
// Prints: ingest time per capture, load and save time of a 5,000-entry history, and the
// resident memory of the idle `stashwell` process holding that history.
#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "e2e/XSession.h"
#include "fakes/StoreFixture.h"
#include "palette/PaletteModel.h"
#include "platform/DefaultsStore.h"
#include "PaletteOpenTimer.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>

namespace {

constexpr int historySize = 5000;

ClipCapture textCapture(int i)
{
    ClipCapture c;
    c.kind = ClipKind::text;
    c.text = QStringLiteral("Entry %1: the quick brown fox jumps over the lazy dog, copied from a document. ").arg(i)
                 .repeated(1 + i % 4);
    c.sourceAppBundleID = QStringLiteral("org.kde.kate");
    c.sourceAppName = QStringLiteral("Kate");
    return c;
}

template <typename F> double millis(F &&work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return timer.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir tmp;
    DefaultsStore defaults{QString()};
    FakeLoginItem login;
    AppSettings settings(defaults, login);
    settings.setHistoryLimit(historySize);
    const QString dir = tmp.path() + QStringLiteral("/Stashwell");

    HistoryStore store(dir, settings, Clock::system());
    const double textMs = millis([&] {
        for (int i = 0; i < historySize; ++i)
            store.ingest(textCapture(i));
    });
    std::printf("ingest, text capture (%d, growing history): %.3f ms per capture\n", historySize, textMs / historySize);
    const int images = 20;
    QList<ClipCapture> pngs;
    for (int i = 0; i < images; ++i)
        pngs << StoreFixture::image(1920, 1080, QColor::fromHsv(i * 37 % 360, 200, 200));
    const double imageMs = millis([&] {
        for (const ClipCapture &c : pngs)
            store.ingest(c);
    });
    std::printf("ingest, 1920x1080 PNG capture incl. thumbnail: %.2f ms per capture\n", imageMs / images);

    const double saveMs = millis([&] { store.saveNow(); });
    const qint64 bytes = QFileInfo(store.fileURL()).size();
    std::printf("save, %lld entries (%.1f KiB): %.2f ms\n", qint64(store.items().size()), bytes / 1024.0, saveMs);
    double loadMs = 0;
    qsizetype loaded = 0;
    loadMs = millis([&] {
        HistoryStore again(dir, settings, Clock::system());
        loaded = again.items().size();
    });
    std::printf("load, %lld entries: %.2f ms\n", qint64(loaded), loadMs);

    // The palette's search, one keystroke at a time, over the whole history.
    {
        PaletteModel model(store, Clock::system());
        const QString query = QStringLiteral("quick brown 4999");
        QList<double> perKey;
        for (qsizetype n = 1; n <= query.size(); ++n)
            perKey << millis([&] { model.setQuery(query.left(n)); });
        std::sort(perKey.begin(), perKey.end());
        std::printf("search per keystroke over %lld entries: median %.2f ms, worst %.2f ms (%lld keys)\n",
                    qint64(store.items().size()), perKey[perKey.size() / 2], perKey.last(), qint64(perKey.size()));
    }

    // The real process, idle, with that history.
    XSession x;
    if (!x.isUp()) {
        std::printf("idle RSS: not measured (no Xvfb)\n");
        return 1;
    }
    QDir().mkpath(x.historyDir());
    QFile::copy(store.fileURL(), x.historyDir() + QStringLiteral("/history.json"));
    x.setDefaults({{"historyLimit", historySize}, {"launchAtLogin", false}}); // the guide stays done
    if (!x.startStashwell()) {
        std::printf("idle RSS: stashwell did not start\n");
        return 1;
    }
    QTest::qWait(3000);
    std::printf("idle RSS of stashwell with %d entries: %.1f MiB\n", historySize,
                x.stashwellMemoryKiB("VmRSS") / 1024.0);

    // Hot key to palette mapped, first opening (builds the panel) and then warm ones, with
    // an application in front (X delivers no key grab while no window has the focus).
    x.startZenityEntry();
    QTest::qWait(1500); // let the dialog settle: keys pressed while it maps can be lost
    QList<double> opens;
    for (int i = 0; i < 11; ++i) {
        const std::optional<double> ms = PaletteOpenTimer::measure(x.display());
        if (!ms) {
            std::printf("palette open: the palette did not appear\n%s\n", x.stashwellStderr().constData());
            return 1;
        }
        opens << *ms;
        PaletteOpenTimer::close(x.display());
        QTest::qWait(300);
    }
    std::printf("palette open (hot key to mapped window), first: %.1f ms\n", opens.first());
    opens.removeFirst();
    std::sort(opens.begin(), opens.end());
    std::printf("palette open, warm: median %.1f ms, worst %.1f ms (%lld openings)\n", opens[opens.size() / 2],
                opens.last(), qint64(opens.size()));
    std::printf("idle RSS after %lld openings: %.1f MiB\n", qint64(opens.size() + 1),
                x.stashwellMemoryKiB("VmRSS") / 1024.0);
    return 0;
}
