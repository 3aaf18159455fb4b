// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/PaletteModel.h"

#include "capture/HistoryStore.h"
#include "common/Clock.h"

#include <QTimer>
#include <algorithm>

const QList<PaletteModel::Filter> &PaletteModel::Filter::cycle()
{
    static const QList<Filter> order = [] {
        QList<Filter> list{all()};
        for (ClipKind kind : ClipKinds::all)
            list << ofKind(kind);
        return list << pinned();
    }();
    return order;
}

PaletteModel::PaletteModel(HistoryStore &store, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_now(clock.now())
{
    m_visible.m_items = &store.items();
    // An open palette shows changes once the store's notification has returned; one refresh
    // serves every change made by the same operation.
    connect(&store, &HistoryStore::itemsChanged, this, [this] {
        ++m_historyVersion;
        m_outOfDate = true;
        if (!m_open || m_refreshQueued)
            return;
        m_refreshQueued = true;
        QTimer::singleShot(0, this, [this] {
            m_refreshQueued = false;
            if (m_open)
                refresh(true);
        });
    });
}

void PaletteModel::open()
{
    m_open = true;
    searchUsedThisSession = false;
    const bool queryWasSet = !m_query.isEmpty();
    const bool filterWasSet = !(m_filter == Filter::all());
    m_query.clear();
    m_words.clear();
    m_filter = Filter::all();
    m_outOfDate = m_outOfDate || queryWasSet || filterWasSet;
    if (queryWasSet)
        emit queryChanged();
    if (filterWasSet)
        emit filterChanged();
    const std::optional<QUuid> selected = m_selectedID;
    refresh(false);
    if (m_selectedID == selected)
        emit selectionChanged(); // the same first entry, and the list scrolls back up to it
}

void PaletteModel::close()
{
    m_open = false;
    m_earlier.clear();
}

void PaletteModel::setQuery(const QString &query)
{
    m_query = query;
    m_words = HistorySearch::words(query);
    m_outOfDate = true;
    if (!query.isEmpty())
        searchUsedThisSession = true;
    emit queryChanged();
    refresh(false);
}

void PaletteModel::setFilter(const Filter &filter)
{
    m_filter = filter;
    m_outOfDate = true;
    emit filterChanged();
    refresh(false);
}

void PaletteModel::setSelectedID(const std::optional<QUuid> &id)
{
    if (m_selectedID == id)
        return;
    m_selectedID = id;
    emit selectionChanged();
}

void PaletteModel::requestFocus()
{
    ++m_focusRequestID;
    emit focusRequested();
}

void PaletteModel::setNow(const QDateTime &now)
{
    m_now = now;
    emit nowChanged();
}

void PaletteModel::bringUpToDate() const
{
    if (!m_outOfDate)
        return;
    m_outOfDate = false;
    const Answer wanted{m_words, m_filter, m_historyVersion};
    if (wanted == m_answer)
        return; // the same search: "a " after "a", or an opening with nothing changed
    const auto earlier = std::find_if(m_earlier.cbegin(), m_earlier.cend(),
                                      [&wanted](const Earlier &e) { return e.answer == wanted; });
    // A query shortened again finds what it found before.
    HistorySearch::Rows rows = earlier != m_earlier.cend() ? earlier->rows : search(wanted);
    // A letter more often leaves the same entries: the list need not be laid out and drawn again.
    const bool same = m_answer.historyVersion == m_historyVersion && rows == m_visible.m_rows;
    m_answer = wanted;
    if (same)
        return;
    m_visible.m_rows = std::move(rows);
    m_announced = false;
}

HistorySearch::Rows PaletteModel::search(const Answer &wanted) const
{
    HistorySearch::Rows rows;
    if (m_answer.historyVersion == wanted.historyVersion && m_answer.filter == wanted.filter
        && HistorySearch::narrows(wanted.words, m_answer.words)) {
        rows = HistorySearch::within(m_store.items(), m_visible.m_rows, wanted.words);
    } else {
        const std::optional<ClipKind> kind =
            wanted.filter.type == Filter::Case::kind ? std::optional(wanted.filter.kind) : std::nullopt;
        rows = HistorySearch::find(m_store.items(), wanted.words, kind, wanted.filter.type == Filter::Case::pinned);
    }
    m_earlier.removeIf([&wanted](const Earlier &e) { return e.answer.historyVersion != wanted.historyVersion; });
    if (m_earlier.size() == maxEarlierAnswers)
        m_earlier.removeFirst();
    m_earlier.append({wanted, rows});
    return rows;
}

const VisibleEntries &PaletteModel::visible() const
{
    bringUpToDate();
    return m_visible;
}

void PaletteModel::refresh(bool keepSelection)
{
    bringUpToDate();
    if (!m_announced) {
        m_announced = true;
        emit visibleChanged();
    }
    if (keepSelection && selectionIndex())
        return;
    setSelectedID(m_visible.isEmpty() ? std::nullopt : std::optional(m_visible.first().id));
}

std::optional<qsizetype> PaletteModel::selectionIndex() const
{
    if (!m_selectedID)
        return std::nullopt;
    const VisibleEntries &entries = visible();
    if (m_selectionHint < entries.size() && entries[m_selectionHint].id == *m_selectedID)
        return m_selectionHint;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (entries[i].id == *m_selectedID) {
            m_selectionHint = i;
            return i;
        }
    }
    return std::nullopt;
}

std::optional<ClipItem> PaletteModel::selectedItem() const
{
    const auto index = selectionIndex();
    return index ? std::optional(m_visible[*index]) : std::nullopt;
}

void PaletteModel::moveSelection(qsizetype delta)
{
    const VisibleEntries &entries = visible();
    if (entries.isEmpty())
        return;
    const qsizetype target = std::clamp<qsizetype>(selectionIndex().value_or(-1) + delta, 0, entries.size() - 1);
    m_selectionHint = target;
    setSelectedID(entries[target].id);
}

void PaletteModel::cycleFilter(bool forward)
{
    const QList<Filter> &order = Filter::cycle();
    const qsizetype position = std::max<qsizetype>(order.indexOf(m_filter), 0);
    setFilter(order[(position + (forward ? 1 : order.size() - 1)) % order.size()]);
}

qsizetype PaletteModel::count(const Filter &filter) const
{
    const QList<ClipItem> &items = m_store.items();
    if (m_countedVersion != m_historyVersion) { // one pass for every chip
        m_countedVersion = m_historyVersion;
        m_pinnedCount = 0;
        m_kindCounts.fill(0);
        for (const ClipItem &item : items) {
            m_pinnedCount += item.pinned;
            ++m_kindCounts[std::size_t(item.kind)];
        }
    }
    switch (filter.type) {
    case Filter::Case::all:
        return items.size();
    case Filter::Case::pinned:
        return m_pinnedCount;
    case Filter::Case::kind:
        return m_kindCounts[std::size_t(filter.kind)];
    }
    Q_UNREACHABLE();
}
