#include "platform/SystemClipboard.h"

#include <QClipboard>
#include <QGuiApplication>

SystemClipboard::SystemClipboard(QObject *parent)
    : QObject(parent)
{
    connect(QGuiApplication::clipboard(), &QClipboard::changed, this, [this](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard)
            ++m_changeCount;
    });
}

const QMimeData *SystemClipboard::contents() const
{
    return QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
}

void SystemClipboard::write(QMimeData *data)
{
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}
