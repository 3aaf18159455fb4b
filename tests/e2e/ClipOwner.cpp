// SPDX-License-Identifier: GPL-3.0-or-later
// A test application that owns the CLIPBOARD with several types at once, as browsers
// and password managers do (xclip offers only one). Arguments: <mime-type>=<file> ... (split at the last "=")
// It prints "owned" once it holds the selection and exits when another client takes it (or its
// X server ends).
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <cstdio>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    auto *data = new QMimeData;
    for (const QString &arg : app.arguments().mid(1)) {
        const qsizetype split = arg.lastIndexOf(QLatin1Char('=')); // MIME types may hold "="
        QFile file(arg.mid(split + 1));
        if (file.open(QIODevice::ReadOnly))
            data->setData(arg.left(split), file.readAll());
    }
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->setMimeData(data, QClipboard::Clipboard);
    QObject::connect(clipboard, &QClipboard::changed, &app, [clipboard](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard && !clipboard->ownsClipboard())
            QCoreApplication::quit();
    });
    std::printf("owned\n");
    std::fflush(stdout);
    return app.exec();
}
