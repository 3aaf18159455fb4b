// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/PreviewPane.h"

#include "capture/HistoryStore.h"
#include "common/Graphemes.h"
#include "common/ThinScrollBar.h"
#include "l10n/L10n.h"
#include "palette/ClipKindStyle.h"

#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QPlainTextEdit>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

// A large rounded swatch of a colour entry.
class Swatch : public QWidget {
public:
    using QWidget::QWidget;
    QColor color;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const int side = std::min(width(), height()) - 24;
        QRectF box(0, 0, side, side);
        box.moveCenter(QRectF(rect()).center());
        QPainterPath path;
        path.addRoundedRect(box, 14, 14);
        p.fillPath(path, color);
        p.setPen(QPen(palette().color(QPalette::Mid), 1));
        p.drawPath(path);
    }
};

} // namespace

PreviewPane::PreviewPane(HistoryStore &store, L10n &l10n, QWidget *parent)
    : QWidget(parent)
    , m_store(store)
    , m_l10n(l10n)
    , m_content(new QStackedWidget(this))
    , m_text(new QPlainTextEdit(this))
    , m_image(new QLabel(this))
    , m_files(new QLabel(this))
    , m_swatch(new Swatch(this))
    , m_meta(new QLabel(this))
{
    m_text->setReadOnly(true);
    m_text->setFrameShape(QFrame::NoFrame);
    QPalette clear = m_text->palette();
    clear.setColor(QPalette::Base, Qt::transparent);
    m_text->setPalette(clear);
    m_text->viewport()->setAutoFillBackground(false);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_text->setFocusPolicy(Qt::NoFocus); // typing always goes to the search field
    ThinScrollBar::install(m_text);
    m_image->setAlignment(Qt::AlignCenter);
    m_files->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_files->setWordWrap(true);
    m_files->setTextFormat(Qt::PlainText);
    for (QWidget *page : {static_cast<QWidget *>(m_text), static_cast<QWidget *>(m_image),
                          static_cast<QWidget *>(m_files), m_swatch})
        m_content->addWidget(page);
    m_meta->setTextFormat(Qt::PlainText);
    m_meta->setForegroundRole(QPalette::PlaceholderText);
    m_meta->setWordWrap(true);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 10);
    layout->addWidget(m_content, 1);
    layout->addWidget(m_meta);
    setItem(std::nullopt);
}

QString PreviewPane::previewText(const ClipItem &item)
{
    const QString text = item.text.value_or(QString());
    if (text.size() <= maxPreviewCharacters) // UTF-16 units bound the characters from above
        return text;
    const QString head = Graphemes::left(text, maxPreviewCharacters);
    return head.size() == text.size() ? text : head + QStringLiteral(" …");
}

QString PreviewPane::sizeInfo(const ClipItem &item, const L10n &l10n)
{
    switch (item.kind) {
    case ClipKind::image:
        if (item.pixelWidth && item.pixelHeight)
            return QStringLiteral("%1 × %2 px").arg(*item.pixelWidth).arg(*item.pixelHeight);
        return {};
    case ClipKind::file:
        return l10n.format(QStringLiteral("preview.files"), qint64(item.fileURLs.value_or(QStringList()).size()));
    case ClipKind::text:
    case ClipKind::link:
    case ClipKind::color:
        return item.charCount ? l10n.format(QStringLiteral("preview.chars"), *item.charCount) : QString();
    }
    Q_UNREACHABLE();
}

void PreviewPane::setItem(const std::optional<ClipItem> &item)
{
    setVisible(item.has_value());
    if (!item)
        return;
    switch (item->kind) {
    case ClipKind::text:
    case ClipKind::link:
        m_text->setPlainText(previewText(*item));
        m_content->setCurrentWidget(m_text);
        break;
    case ClipKind::image: {
        m_image->setPixmap(fitted(m_store.thumbnail(*item)));
        m_content->setCurrentWidget(m_image);
        break;
    }
    case ClipKind::file: {
        QStringList names;
        for (const QString &path : item->fileURLs.value_or(QStringList()))
            names << QFileInfo(path).fileName();
        m_files->setText(names.join(QLatin1Char('\n')));
        m_content->setCurrentWidget(m_files);
        break;
    }
    case ClipKind::color:
        static_cast<Swatch *>(m_swatch)->color = ClipKindStyle::color(item->colorHex.value_or(QString()));
        m_swatch->update();
        m_content->setCurrentWidget(m_swatch);
        break;
    }
    QStringList meta{m_l10n.string(ClipKindStyle::filterKey(item->kind))};
    if (item->sourceAppName)
        meta << *item->sourceAppName;
    meta << AppLanguages::locale(m_l10n.language()).toString(item->createdAt.toLocalTime(), QLocale::ShortFormat);
    const QString size = sizeInfo(*item, m_l10n);
    if (!size.isEmpty())
        meta << size;
    m_meta->setText(meta.join(QStringLiteral("  ·  ")));
}

QPixmap PreviewPane::fitted(const QImage &thumb) const
{
    if (thumb.isNull())
        return {};
    // At most the thumbnail's size in logical pixels, drawn with every device pixel there is.
    const QSize room = m_content->size().isEmpty() ? QSize(300, 260) : m_content->size();
    const qreal dpr = devicePixelRatioF();
    QPixmap pixmap = QPixmap::fromImage(
        thumb.scaled(room.boundedTo(thumb.size()) * dpr, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    pixmap.setDevicePixelRatio(dpr);
    return pixmap;
}

QString PreviewPane::shownText() const
{
    return m_text->toPlainText();
}

QString PreviewPane::metadataText() const
{
    return m_meta->text();
}
