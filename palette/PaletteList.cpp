// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/PaletteList.h"

#include "capture/HistoryStore.h"
#include "common/RelativeTime.h"
#include "common/Symbols.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "palette/ClipKindStyle.h"
#include "palette/PaletteModel.h"

#include <QAbstractItemView>
#include <QPainter>
#include <QPainterPath>

PaletteListModel::PaletteListModel(PaletteModel &model, QObject *parent)
    : QAbstractListModel(parent)
    , m_model(model)
{
    connect(&model, &PaletteModel::visibleChanged, this, [this] {
        beginResetModel();
        endResetModel();
    });
    // Relative times move on with the model's clock.
    connect(&model, &PaletteModel::nowChanged, this, [this] {
        if (rowCount() > 0)
            emit dataChanged(index(0), index(rowCount() - 1));
    });
}

int PaletteListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_model.visible().size());
}

QVariant PaletteListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const ClipItem &item = m_model.visible()[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return item.displayTitle();
    case Qt::UserRole:
        return item.id;
    default:
        return {};
    }
}

PaletteRowDelegate::PaletteRowDelegate(PaletteModel &model, HistoryStore &store, L10n &l10n, AppIconCache &icons,
                                       QObject *parent)
    : QStyledItemDelegate(parent)
    , m_model(model)
    , m_store(store)
    , m_l10n(l10n)
    , m_icons(icons)
{
}

QSize PaletteRowDelegate::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return {1, rowHeight}; // rows take the viewport's width when painted
}

QString PaletteRowDelegate::timeText(const QDateTime &createdAt, const QDateTime &now, L10n &l10n)
{
    if (createdAt.secsTo(now) < 10)
        return l10n.string(QStringLiteral("palette.justNow"));
    return RelativeTime::abbreviated(createdAt, now, AppLanguages::rawValue(l10n.language()));
}

QString PaletteRowDelegate::quickPickHint(int index)
{
    return index < quickPickRows ? QStringLiteral("Ctrl+%1").arg(index + 1) : QString();
}

namespace {

// The kind's symbol on a faint backdrop of its tint; on the selection, both in the selection's
// text colour, which reads on it where the tints would not.
void paintLeading(QPainter *p, const QRect &box, const ClipItem &item, HistoryStore &store, qreal dpr,
                  const std::optional<QColor> &selectedText)
{
    QPainterPath rounded;
    rounded.addRoundedRect(box, 6, 6);
    if (item.kind == ClipKind::color) {
        p->fillPath(rounded, ClipKindStyle::color(item.colorHex.value_or(QString())));
        return;
    }
    if (item.kind == ClipKind::image) {
        const QImage thumb = store.thumbnail(item);
        if (!thumb.isNull()) {
            p->save();
            p->setClipPath(rounded);
            const QImage fitted = thumb.scaled(box.size() * dpr, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
            QRectF source(QPointF(), box.size() * dpr);
            source.moveCenter(QRectF(fitted.rect()).center());
            p->drawImage(QRectF(box), fitted, source);
            p->restore();
            return;
        }
    }
    const QColor tint = selectedText.value_or(ClipKindStyle::tint(item.kind));
    QColor faint = tint;
    faint.setAlphaF(selectedText ? 0.2f : 0.16f);
    p->fillPath(rounded, faint);
    const QPixmap symbol = Symbols::pixmap(ClipKindStyle::symbol(item.kind), tint, 16, dpr);
    p->drawPixmap(box.center() - QPoint(8, 8) + QPoint(1, 1), symbol);
}

} // namespace

void PaletteRowDelegate::paint(QPainter *p, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (index.row() >= m_model.visible().size())
        return;
    const ClipItem &item = m_model.visible()[index.row()];
    const bool selected = m_model.selectedID() == item.id;
    const qreal dpr = p->device()->devicePixelRatioF();
    const QPalette &pal = option.palette;
    p->save();
    p->setRenderHint(QPainter::Antialiasing);
    QRect full = option.rect;
    if (const auto *view = qobject_cast<const QAbstractItemView *>(option.widget))
        full.setRight(view->viewport()->rect().right());
    const QRect row = full.adjusted(6, 1, -6, -1);
    if (selected) {
        QPainterPath highlight;
        highlight.addRoundedRect(row, 7, 7);
        p->fillPath(highlight, pal.color(QPalette::Active, QPalette::Highlight));
    }
    const QColor selectedText = pal.color(QPalette::Active, QPalette::HighlightedText);
    const QColor titleColor = selected ? selectedText : pal.color(QPalette::Text);
    QColor timeColor = pal.color(QPalette::PlaceholderText);
    if (selected) {
        timeColor = selectedText;
        timeColor.setAlphaF(0.75f);
    }

    const QRect leading(row.left() + 8, row.center().y() - 15, 30, 30);
    paintLeading(p, leading, item, m_store, dpr, selected ? std::optional(selectedText) : std::nullopt);

    // Trailing items, right to left: app icon, quick-pick hint, pin.
    int right = row.right() - 8;
    if (const auto icon = m_icons.icon(item.sourceAppBundleID)) {
        icon->paint(p, QRect(right - 16, row.center().y() - 8, 16, 16));
        right -= 16 + 8;
    }
    QFont small = option.font;
    small.setPointSizeF(option.font.pointSizeF() * 0.85);
    const QString hint = quickPickHint(index.row());
    if (!hint.isEmpty()) {
        p->setFont(small);
        p->setPen(timeColor);
        const int width = QFontMetrics(small).horizontalAdvance(hint);
        p->drawText(QRect(right - width, row.top(), width, row.height()), Qt::AlignVCenter, hint);
        right -= width + 8;
    }
    if (item.pinned) {
        const int pin = 12;
        p->drawPixmap(right - pin, row.center().y() - pin / 2, Symbols::pixmap(QStringLiteral("pin.fill"), timeColor, pin, dpr));
        right -= pin + 8;
    }

    const int textLeft = leading.right() + 10;
    const QRect titleRect(textLeft, row.top() + 5, right - textLeft, row.height() / 2 - 3);
    const QRect timeRect(textLeft, row.center().y() + 1, right - textLeft, row.height() / 2 - 5);
    p->setFont(option.font);
    p->setPen(titleColor);
    const QString title = item.displayTitle().simplified(); // one line
    p->drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter,
                QFontMetrics(option.font).elidedText(title, Qt::ElideRight, titleRect.width()));
    p->setFont(small);
    p->setPen(timeColor);
    p->drawText(timeRect, Qt::AlignLeft | Qt::AlignVCenter, timeText(item.createdAt, m_model.now(), m_l10n));
    p->restore();
}
