// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/Clipboard.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

class X11ClipboardSnapshotReader;

// The CLIPBOARD selection of Qt's display. Writes go through QClipboard, which then serves them
// to other applications. Each copy by another application arrives as an XFixes selection event
// on Qt's connection and is read by `reader` off the main thread. Selection owners created by
// this process are its own writes and are never counted or read.
class X11Clipboard final : public QObject, public Clipboard, private QAbstractNativeEventFilter {
public:
    explicit X11Clipboard(X11ClipboardSnapshotReader &reader, QObject *parent = nullptr);
    ~X11Clipboard() override;

    qint64 changeCount() const override { return m_changeCount; }
    const QMimeData *contents() const override;
    void write(QMimeData *data) override;
    void watch(std::function<void()> changed) override;
    void read(qint64 changeCount, const ClipboardReadRequest &request,
              std::function<void(std::optional<ClipboardItemData>)> done) override;

private:
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;
    void advance(quint32 owner);

    X11ClipboardSnapshotReader &m_reader;
    std::function<void()> m_changed;
    qint64 m_changeCount = 0;
    quint32 m_owner = 0;         // the window of the latest change; 0 after an own write
    quint32 m_window = 0;        // receives the selection events
    quint8 m_ownerChange = 0;    // their event type
    quint32 m_ownIdBase = 0;     // the X resource ids of Qt's connection: its windows are ours
    quint32 m_ownIdMask = 0;
};
