// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/ClipboardSnapshot.h"

#include <QMimeData>
#include <QtGlobal>
#include <functional>
#include <optional>

// The general clipboard and its change counter. The counter advances on every change, and an
// own write advances it synchronously, so it can be read right after `write`. Other
// applications' contents are only ever read with `read`, which never blocks.
class Clipboard {
public:
    virtual ~Clipboard() = default;
    virtual qint64 changeCount() const = 0;
    // What this process wrote while it still owns the clipboard, else nullptr.
    virtual const QMimeData *contents() const = 0;
    // Takes ownership of `data` and makes it the clipboard's contents.
    virtual void write(QMimeData *data) = 0;
    // `changed` runs on the main thread after every change, for an own write within `write`.
    virtual void watch(std::function<void()> changed) = 0;
    // Reads what change `changeCount` put on the clipboard. `done` runs on the main thread, at
    // the latest after the request's deadline (possibly before `read` returns), with the formats
    // read, or with nothing when a newer change replaced them before or during the read or
    // they could not be read in time.
    virtual void read(qint64 changeCount, const ClipboardReadRequest &request,
                      std::function<void(std::optional<ClipboardItemData>)> done) = 0;
};
