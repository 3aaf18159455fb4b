// SPDX-License-Identifier: GPL-3.0-or-later
// A native Wayland test application (run with QT_QPA_PLATFORM=wayland): one text field in a
// window whose app_id is the first argument. On standard output it says "focused" once the field
// has the keyboard focus, "text <text>" whenever the text changes, "pending" when it holds a copy
// to make, "copied" once Ctrl+C made it, and "request <type>" when a reader asks for a type it
// never writes. Each line on standard input is such a copy: words of "<mime-type>=<data>", the
// data in unpadded base64url (so the last "=" splits). Data that decodes to "stall" is offered
// but never written: whoever asks for it waits in vain. The copy waits for Ctrl+C because the
// compositor takes a selection only from a client that just had a key press.
#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QSocketNotifier>
#include <QThread>
#include <cstdio>
#include <unistd.h>

namespace {

void say(const QByteArray &line)
{
    std::fwrite(line.constData(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

// Qt asks itself for the types it derives from the offered ones ("text/plain" for
// "text/plain;charset=utf-8"), so any request stalls once one type does.
class StallingMimeData : public QMimeData {
public:
    bool stalls = false;

protected:
    QVariant retrieveData(const QString &type, QMetaType preferred) const override
    {
        if (stalls) {
            say("request " + type.toUtf8());
            QThread::sleep(3600); // the reader's pipe stays open and empty
        }
        return QMimeData::retrieveData(type, preferred);
    }
};

StallingMimeData *pending = nullptr;

void prepare(const QByteArray &line)
{
    delete pending;
    pending = new StallingMimeData;
    for (const QByteArray &word : line.trimmed().split(' ')) {
        const qsizetype split = word.lastIndexOf('='); // MIME types may hold "="
        const QString type = QString::fromUtf8(word.left(split));
        const QByteArray bytes = QByteArray::fromBase64(word.mid(split + 1), QByteArray::Base64UrlEncoding);
        pending->setData(type, bytes);
        pending->stalls = pending->stalls || bytes == "stall";
    }
    say("pending");
}

// Ctrl+C copies the pending data instead of the field's selection.
class CopyKey : public QObject {
protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        const bool copyKey = (event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride)
            && static_cast<QKeyEvent *>(event)->matches(QKeySequence::Copy);
        if (!copyKey || !pending)
            return QObject::eventFilter(watched, event);
        if (event->type() == QEvent::KeyPress) {
            QGuiApplication::clipboard()->setMimeData(std::exchange(pending, nullptr), QClipboard::Clipboard);
            say("copied");
        }
        event->accept();
        return event->type() == QEvent::KeyPress;
    }
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(app.arguments().value(1)); // the xdg_toplevel's app_id
    QLineEdit field;
    CopyKey copyKey;
    field.installEventFilter(&copyKey);
    field.setWindowTitle(QStringLiteral("Paste target"));
    QObject::connect(&field, &QLineEdit::textChanged, [](const QString &text) { say("text " + text.toUtf8()); });
    QObject::connect(&app, &QApplication::focusChanged, [&field](QWidget *, QWidget *now) {
        if (now == &field)
            say("focused");
    });
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[65536];
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0)
            input.setEnabled(false);
        static QByteArray lines;
        lines.append(buffer, std::max<ssize_t>(n, 0));
        for (qsizetype end; (end = lines.indexOf('\n')) >= 0; lines.remove(0, end + 1))
            prepare(lines.left(end));
    });
    field.resize(480, 60);
    field.show();
    return app.exec();
}
