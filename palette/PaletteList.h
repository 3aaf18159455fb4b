// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The list of visible entries. A virtualised QListView over the model's `visible`
// list, with `PaletteRowDelegate` drawing each `PaletteRow`, so 5,000 entries scroll freely.
#include <QAbstractListModel>
#include <QStyledItemDelegate>

class AppIconCache;
class HistoryStore;
class L10n;
class PaletteModel;

class PaletteListModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit PaletteListModel(PaletteModel &model, QObject *parent = nullptr);
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;

private:
    PaletteModel &m_model;
};

class PaletteRowDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    static constexpr int rowHeight = 46;
    static constexpr int quickPickRows = 9; // Ctrl+1 … Ctrl+9

    PaletteRowDelegate(PaletteModel &model, HistoryStore &store, L10n &l10n, AppIconCache &icons,
                       QObject *parent = nullptr);
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // The row's second line: "just now" under 10 seconds, else the abbreviated relative time.
    static QString timeText(const QDateTime &createdAt, const QDateTime &now, L10n &l10n);
    // "Ctrl+1" … "Ctrl+9" for the first nine rows, nothing below.
    static QString quickPickHint(int index);

private:
    PaletteModel &m_model;
    HistoryStore &m_store;
    L10n &m_l10n;
    AppIconCache &m_icons;
};
