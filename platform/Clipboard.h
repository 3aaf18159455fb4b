#pragma once
#include <QMimeData>
#include <QtGlobal>

// The general clipboard (QClipboard in Clipboard mode) with the change counter that
// capture polls. The counter advances on every change, and an own write
// advances it synchronously, so it can be read right after `write`.
class Clipboard {
public:
    virtual ~Clipboard() = default;
    virtual qint64 changeCount() const = 0;
    // The current contents, or nullptr when the clipboard is empty. Valid until the next change.
    virtual const QMimeData *contents() const = 0;
    // Takes ownership of `data` and makes it the clipboard's contents.
    virtual void write(QMimeData *data) = 0;
};
