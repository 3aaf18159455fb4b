// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The palette controller with the real model, view, paste service and notice, over fakes of
// the clipboard, key poster, snapshot reader, active window and notice timeline.
#include "capture/ClipboardMonitor.h"
#include "fakes/PasteFakes.h"
#include "fakes/StoreFixture.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "palette/PaletteController.h"
#include "paste/HUDToast.h"
#include "paste/PasteService.h"
#include "platform/DesktopEntries.h"

struct PaletteFixture : StoreFixture {
    FakeClipboard clipboard;
    FakeKeyPoster keys;
    FakeSnapshotReader reader{clipboard};
    FakeActiveWindow window;
    ClipboardMonitor monitor{clipboard, window, settings, *store, recorder()};
    PasteService paste{clipboard, keys, reader, monitor, *store, settings};
    FakeToastScheduler scheduler;
    HUDToast toast{scheduler};
    FrameworkLanguage framework{{}, [] { return QStringList{QStringLiteral("en-US")}; }};
    L10n l10n{defaults, framework, [] { return QStringList{QStringLiteral("en-US")}; }};
    DesktopEntries entries{QStringLiteral("C")};
    AppIconCache icons{entries};
    int draw = 5; // the one-in-ten draw; 0 samples the opening
    PaletteController controller{*store, settings, l10n, paste, toast, window, icons, clock, recorder(),
                                 [this] { return draw; }};

    void add(const QString &text, bool pin = false)
    {
        store->ingest(StoreFixture::text(text, text));
        if (pin)
            store->togglePin(store->items()[0].id);
        clock.advance(10);
    }
};
