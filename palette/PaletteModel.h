// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The state behind the palette: query, filter, visible entries, selection, clock.
// Changes of the history only mark the visible list out of date; it is brought up to date when
// it is next read, once for any number of changes, so a closed palette searches nothing per copy.
#include "capture/ClipItem.h"
#include "palette/HistorySearch.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QUuid>
#include <array>
#include <optional>

class Clock;
class HistoryStore;

// The entries the palette lists, in order: positions in the history, read through to its entries.
class VisibleEntries {
public:
    qsizetype size() const { return m_rows.size(); }
    bool isEmpty() const { return m_rows.isEmpty(); }
    const ClipItem &operator[](qsizetype i) const { return (*m_items)[m_rows[i]]; }
    const ClipItem &first() const { return (*this)[0]; }

private:
    friend class PaletteModel;
    const QList<ClipItem> *m_items = nullptr;
    HistorySearch::Rows m_rows;
};

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

    // The palette opens: an empty query over all entries, the first one selected. Only a history
    // changed since the last opening costs a pass over it.
    void open();
    void close(); // while closed, the history's changes wait for the next opening
    QString query() const { return m_query; }
    void setQuery(const QString &query);
    Filter filter() const { return m_filter; }
    void setFilter(const Filter &filter);
    const VisibleEntries &visible() const; // up to date with the history
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
    // What a visible list was found for; a list for the same filter and history is narrowed
    // instead of searched again when the query only added to its words.
    struct Answer {
        QByteArrayList words;
        Filter filter;
        quint64 historyVersion = 0;
        bool operator==(const Answer &) const = default;
    };
    // The lists found while the palette is open, so that a query shortened again costs no search.
    struct Earlier {
        Answer answer;
        HistorySearch::Rows rows;
    };
    static constexpr qsizetype maxEarlierAnswers = 32;
    void bringUpToDate() const;
    HistorySearch::Rows search(const Answer &wanted) const; // narrowed when it can be, and kept

    HistoryStore &m_store;
    QString m_query;
    QByteArrayList m_words; // of m_query
    Filter m_filter;
    quint64 m_historyVersion = 1; // counts the history's changes
    bool m_open = false;
    bool m_refreshQueued = false;
    mutable bool m_outOfDate = true;
    mutable Answer m_answer;
    mutable QList<Earlier> m_earlier;
    mutable VisibleEntries m_visible;
    mutable bool m_announced = false; // visibleChanged was emitted for m_visible
    std::optional<QUuid> m_selectedID;
    mutable qsizetype m_selectionHint = 0; // where the selected entry was last found
    mutable quint64 m_countedVersion = 0;
    mutable qsizetype m_pinnedCount = 0;
    mutable std::array<qsizetype, ClipKinds::all.size()> m_kindCounts{};
    qint64 m_focusRequestID = 0;
    QDateTime m_now;
};
