// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The palette's search through the history. The query is lower-cased and split at white space;
// an entry matches when its search key holds every word. Results are positions in the history,
// pinned entries first, each group in history order.
#include "capture/ClipItem.h"

#include <QByteArrayList>
#include <QList>
#include <optional>

namespace HistorySearch {

using Rows = QList<qsizetype>;

// The words of `query`, lower-cased, in UTF-8, the longest (most telling) first.
QByteArrayList words(const QString &query);
// True when every entry that holds all of `words` also holds all of `earlier`: each earlier
// word lies within a new one, so the new result is found within the earlier one.
bool narrows(const QByteArrayList &words, const QByteArrayList &earlier);
bool matches(const ClipItem &item, const QByteArrayList &words);

// The entries of `items` of `kind` (any when unset), pinned ones only when asked, holding every word.
Rows find(const QList<ClipItem> &items, const QByteArrayList &words, std::optional<ClipKind> kind, bool pinnedOnly);
// Those of `rows` whose entries hold every word, in the same order.
Rows within(const QList<ClipItem> &items, const Rows &rows, const QByteArrayList &words);

} // namespace HistorySearch
