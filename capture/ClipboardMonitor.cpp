#include "capture/ClipboardMonitor.h"

#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "capture/SecurityPolicy.h"
#include "platform/ActiveWindow.h"
#include "platform/Clipboard.h"

#include <QBuffer>
#include <QImage>
#include <QUrl>
#include <QtEndian>
#include <cmath>

ClipboardMonitor::ClipboardMonitor(Clipboard &clipboard, ActiveWindow &activeWindow, AppSettings &settings,
                                   HistoryStore &store, RecordUsage record, QObject *parent)
    : QObject(parent)
    , m_clipboard(clipboard)
    , m_activeWindow(activeWindow)
    , m_settings(settings)
    , m_store(store)
    , m_record(std::move(record))
    , m_lastChangeCount(clipboard.changeCount()) // what was there before launch is never recorded
{
}

void ClipboardMonitor::start()
{
    if (m_timer)
        return;
    m_timer = new QTimer(this);
    m_timer->setInterval(200);
    connect(m_timer, &QTimer::timeout, this, &ClipboardMonitor::tick);
    m_timer->start();
}

void ClipboardMonitor::ignoreChangeCount(qint64 changeCount)
{
    m_ignoredChangeCounts.insert(changeCount);
    if (m_ignoredChangeCounts.size() >= 9)
        m_ignoredChangeCounts.clear();
}

void ClipboardMonitor::tick()
{
    const qint64 count = m_clipboard.changeCount();
    if (count == m_lastChangeCount)
        return;
    m_lastChangeCount = count;
    if (m_ignoredChangeCounts.remove(count))
        return; // our own write

    const std::optional<FrontApp> app = m_activeWindow.frontmost();
    const auto nonEmpty = [](const QString &s) { return s.isEmpty() ? std::nullopt : std::optional(s); };
    const std::optional<QString> bundleID = app ? nonEmpty(app->bundleID) : std::nullopt;
    const auto skipped = [&](const QString &reason) {
        if (m_record)
            m_record(QStringLiteral("capture.skipped"),
                     {{QStringLiteral("reason"), reason}, {QStringLiteral("sourceApp"), bundleID.value_or("?")}});
    };
    if (m_settings.monitoringPaused())
        return skipped(QStringLiteral("paused"));

    const QMimeData *contents = m_clipboard.contents();
    if (const auto reason = SecurityPolicy::skipReason(contents, bundleID, m_settings))
        return skipped(SecurityPolicy::reasonName(*reason));
    if (!contents)
        return;
    std::optional<ClipCapture> capture = read(*contents);
    if (!capture)
        return;
    capture->sourceAppBundleID = bundleID;
    capture->sourceAppName = app ? nonEmpty(app->name) : std::nullopt;
    m_store.ingest(*capture);
}

namespace {

const QLatin1String uriListType("text/uri-list");
const QLatin1String gnomeFilesType("x-special/gnome-copied-files");

QStringList localPaths(const QList<QUrl> &urls)
{
    QStringList paths;
    for (const QUrl &url : urls)
        if (url.isLocalFile())
            paths << url.toLocalFile();
    return paths;
}

std::optional<ClipCapture> readFiles(const QMimeData &contents)
{
    QStringList paths;
    if (contents.hasFormat(uriListType))
        paths = localPaths(contents.urls());
    if (paths.isEmpty() && contents.hasFormat(gnomeFilesType)) {
        // "copy" or "cut", then one URL a line (GNOME Files, Nautilus, Nemo, Caja).
        const QList<QByteArray> lines = contents.data(gnomeFilesType).split('\n');
        QList<QUrl> urls;
        for (qsizetype i = 1; i < lines.size(); ++i)
            if (!lines[i].trimmed().isEmpty())
                urls << QUrl::fromEncoded(lines[i].trimmed());
        paths = localPaths(urls);
    }
    if (paths.isEmpty())
        return std::nullopt;
    ClipCapture capture;
    capture.kind = ClipKind::file;
    capture.fileURLs = paths;
    capture.text = paths.join(QLatin1Char('\n'));
    return capture;
}

QByteArray pngFrom(const QByteArray &encoded)
{
    const QImage image = QImage::fromData(encoded);
    if (image.isNull())
        return {};
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

std::optional<ClipCapture> readImage(const QMimeData &contents)
{
    QByteArray png;
    const QLatin1String pngType("image/png");
    if (contents.hasFormat(pngType))
        png = contents.data(pngType);
    if (png.isEmpty()) {
        // TIFF first, then any other image format the decoder knows, re-encoded as PNG.
        QStringList others;
        for (const QString &type : contents.formats())
            if (type.startsWith(QLatin1String("image/")) && type != pngType)
                others << type;
        std::stable_partition(others.begin(), others.end(),
                              [](const QString &t) { return t == QLatin1String("image/tiff"); });
        for (const QString &type : std::as_const(others)) {
            png = pngFrom(contents.data(type));
            if (!png.isEmpty())
                break;
        }
    }
    if (png.isEmpty())
        return std::nullopt;
    ClipCapture capture;
    capture.kind = ClipKind::image;
    capture.imageData = png;
    return capture;
}

// application/x-color: four native-endian 16-bit RGBA channels (GTK, Qt), or a colour name.
std::optional<QColor> colorFrom(const QMimeData &contents)
{
    const QLatin1String colorType("application/x-color");
    if (!contents.hasFormat(colorType))
        return std::nullopt;
    const QVariant object = contents.colorData(); // an in-process QMimeData holding a QColor
    if (object.typeId() == QMetaType::QColor && object.value<QColor>().isValid())
        return object.value<QColor>();
    const QByteArray data = contents.data(colorType);
    if (data.size() == 8) {
        const auto channel = [&](int i) { return qFromUnaligned<quint16>(data.constData() + 2 * i) / 65535.0; };
        return QColor::fromRgbF(float(channel(0)), float(channel(1)), float(channel(2)), float(channel(3)));
    }
    const QColor named = QColor::fromString(QString::fromUtf8(data).trimmed());
    return named.isValid() ? std::optional(named) : std::nullopt;
}

std::optional<ClipCapture> readColorObject(const QMimeData &contents)
{
    const std::optional<QColor> color = colorFrom(contents);
    const std::optional<QString> hex = color ? ClipboardMonitor::hexString(*color) : std::nullopt;
    if (!hex)
        return std::nullopt;
    ClipCapture capture;
    capture.kind = ClipKind::color;
    capture.text = *hex;
    capture.colorHex = *hex;
    return capture;
}

std::optional<QByteArray> dataOf(const QMimeData &contents, std::initializer_list<const char *> types)
{
    for (const char *type : types)
        if (contents.hasFormat(QLatin1String(type)))
            return contents.data(QLatin1String(type));
    return std::nullopt;
}

std::optional<ClipCapture> readString(const QMimeData &contents)
{
    const QString string = contents.text();
    if (string.isEmpty())
        return std::nullopt;
    if (const auto hex = ClipboardMonitor::colorHex(string)) {
        ClipCapture capture;
    capture.kind = ClipKind::color;
        capture.text = string;
        capture.colorHex = hex;
        return capture;
    }
    if (ClipboardMonitor::isSingleLink(string)) {
        ClipCapture capture;
    capture.kind = ClipKind::link;
        capture.text = string.trimmed();
        return capture;
    }
    ClipCapture capture;
    capture.kind = ClipKind::text;
    capture.text = string;
    capture.rtfData = dataOf(contents, {"text/rtf", "application/rtf"});
    capture.htmlData = dataOf(contents, {"text/html"});
    return capture;
}

} // namespace

std::optional<ClipCapture> ClipboardMonitor::read(const QMimeData &contents)
{
    for (auto test : {readFiles, readImage, readColorObject, readString})
        if (auto capture = test(contents))
            return capture;
    return std::nullopt;
}

std::optional<QString> ClipboardMonitor::hexString(const QColor &color)
{
    const QColor rgb = color.toRgb(); // Qt colours are sRGB
    if (!rgb.isValid())
        return std::nullopt;
    const auto byte = [](float component) { return int(std::round(double(component) * 255.0)); };
    return QString::asprintf("#%02X%02X%02X", byte(rgb.redF()), byte(rgb.greenF()), byte(rgb.blueF()));
}

std::optional<QString> ClipboardMonitor::colorHex(const QString &string)
{
    const QString trimmed = string.trimmed();
    if (!trimmed.startsWith(QLatin1Char('#')))
        return std::nullopt;
    QString body = trimmed.mid(1);
    if (body.size() != 3 && body.size() != 6 && body.size() != 8)
        return std::nullopt;
    for (QChar c : std::as_const(body))
        if (c.unicode() > 127 || !isxdigit(c.unicode()))
            return std::nullopt;
    if (body.size() == 3)
        body = QString(body[0]) + body[0] + body[1] + body[1] + body[2] + body[2];
    return QLatin1Char('#') + body.left(6).toUpper();
}

bool ClipboardMonitor::isSingleLink(const QString &string)
{
    const QString trimmed = string.trimmed();
    if (trimmed.isEmpty())
        return false;
    for (QChar c : trimmed)
        if (c.isSpace())
            return false;
    const QUrl url(trimmed, QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == QLatin1String("http") || scheme == QLatin1String("https"))
        && !url.host().isEmpty();
}
