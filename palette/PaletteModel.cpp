// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/PaletteModel.h"

#include "capture/HistoryStore.h"
#include "common/Clock.h"

#include <QTimer>

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
    // History changes arrive after the store's notification has returned; one refresh
    // serves every change made by the same operation.
    connect(&store, &HistoryStore::itemsChanged, this, [this] {
        if (m_refreshQueued)
            return;
        m_refreshQueued = true;
        QTimer::singleShot(0, this, [this] {
            m_refreshQueued = false;
            refresh(true);
        });
    });
    refresh(false);
}

void PaletteModel::setQuery(const QString &query)
{
    m_query = query;
    if (!query.isEmpty())
        searchUsedThisSession = true;
    emit queryChanged();
    refresh(false);
}

void PaletteModel::setFilter(const Filter &filter)
{
    m_filter = filter;
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

void PaletteModel::refresh(bool keepSelection)
{
    const std::optional<ClipKind> kind =
        m_filter.type == Filter::Case::kind ? std::optional(m_filter.kind) : std::nullopt;
    m_visible = m_store.search(m_query, kind, m_filter.type == Filter::Case::pinned);
    emit visibleChanged();
    if (keepSelection && selectionIndex())
        return;
    setSelectedID(m_visible.isEmpty() ? std::nullopt : std::optional(m_visible.first().id));
}

std::optional<qsizetype> PaletteModel::selectionIndex() const
{
    if (!m_selectedID)
        return std::nullopt;
    for (qsizetype i = 0; i < m_visible.size(); ++i)
        if (m_visible[i].id == *m_selectedID)
            return i;
    return std::nullopt;
}

std::optional<ClipItem> PaletteModel::selectedItem() const
{
    const auto index = selectionIndex();
    return index ? std::optional(m_visible[*index]) : std::nullopt;
}

void PaletteModel::moveSelection(qsizetype delta)
{
    if (m_visible.isEmpty())
        return;
    const qsizetype target = std::clamp<qsizetype>(selectionIndex().value_or(-1) + delta, 0, m_visible.size() - 1);
    setSelectedID(m_visible[target].id);
}

void PaletteModel::cycleFilter(bool forward)
{
    const QList<Filter> &order = Filter::cycle();
    const qsizetype position = std::max<qsizetype>(order.indexOf(m_filter), 0);
    m_filter = order[(position + (forward ? 1 : order.size() - 1)) % order.size()];
    emit filterChanged();
    refresh(false);
}

qsizetype PaletteModel::count(const Filter &filter) const
{
    const QList<ClipItem> &items = m_store.items();
    switch (filter.type) {
    case Filter::Case::all:
        return items.size();
    case Filter::Case::pinned:
        return std::count_if(items.begin(), items.end(), [](const ClipItem &i) { return i.pinned; });
    case Filter::Case::kind:
        return std::count_if(items.begin(), items.end(), [&](const ClipItem &i) { return i.kind == filter.kind; });
    }
    Q_UNREACHABLE();
}
