#pragma once
#include "platform/Clipboard.h"

#include <QObject>

// QClipboard's Clipboard mode. External copies arrive through XFixes as
// QClipboard::changed; Qt emits the same signal synchronously for our own writes.
class SystemClipboard final : public QObject, public Clipboard {
    Q_OBJECT
public:
    explicit SystemClipboard(QObject *parent = nullptr);
    qint64 changeCount() const override { return m_changeCount; }
    const QMimeData *contents() const override;
    void write(QMimeData *data) override;

private:
    qint64 m_changeCount = 0;
};
