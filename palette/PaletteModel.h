// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The state behind the palette: query, filter, visible entries, selection, clock.
#include "capture/ClipItem.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QUuid>
#include <optional>

class Clock;
class HistoryStore;

class PaletteModel : public QObject {
    Q_OBJECT
public:
    // A filter chip: everything, pinned entries, or one kind.
    struct Filter {
        enum class Case { all, pinned, kind };
        Case type = Case::all;
        ClipKind kind = ClipKind::text; // meaningful for Case::kind only

        static Filter all() { return {}; }
        static Filter pinned() { return {Case::pinned}; }
        static Filter ofKind(ClipKind k) { return {Case::kind, k}; }
        bool operator==(const Filter &o) const { return type == o.type && (type != Case::kind || kind == o.kind); }
        // The chips' order: all, the five kinds, pinned.
        static const QList<Filter> &cycle();
    };

    PaletteModel(HistoryStore &store, Clock &clock, QObject *parent = nullptr);

    QString query() const { return m_query; }
    void setQuery(const QString &query);
    Filter filter() const { return m_filter; }
    void setFilter(const Filter &filter);
    const QList<ClipItem> &visible() const { return m_visible; }
    std::optional<QUuid> selectedID() const { return m_selectedID; }
    void setSelectedID(const std::optional<QUuid> &id);
    qint64 focusRequestID() const { return m_focusRequestID; }
    void requestFocus();
    QDateTime now() const { return m_now; }
    void setNow(const QDateTime &now);
    bool searchUsedThisSession = false;

    void refresh(bool keepSelection);
    std::optional<ClipItem> selectedItem() const;
    std::optional<qsizetype> selectionIndex() const;
    void moveSelection(qsizetype delta);
    void cycleFilter(bool forward);
    qsizetype count(const Filter &filter) const;

    HistoryStore &store() const { return m_store; }

signals:
    void queryChanged();
    void filterChanged();
    void visibleChanged();
    void selectionChanged();
    void focusRequested();
    void nowChanged();

private:
    HistoryStore &m_store;
    QString m_query;
    Filter m_filter;
    QList<ClipItem> m_visible;
    std::optional<QUuid> m_selectedID;
    qint64 m_focusRequestID = 0;
    QDateTime m_now;
    bool m_refreshQueued = false;
};
