// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/HistorySearch.h"

#include <algorithm>
#include <cstring>

namespace {

// Sixteen bytes at a time, in whatever vector registers the processor has.
using Bytes16 = char __attribute__((vector_size(16)));

Bytes16 load16(const char *at)
{
    Bytes16 bytes;
    std::memcpy(&bytes, at, sizeof bytes);
    return bytes;
}

// Whether `word` occurs in `key`. Sixteen starting places are tried at once on the word's first
// and last byte; only where both agree are the bytes between compared.
bool contains(const QByteArray &key, const QByteArray &word)
{
    const char *text = key.constData();
    const qsizetype size = key.size(), length = word.size();
    if (length > size)
        return false;
    if (length == 1)
        return std::memchr(text, word[0], size_t(size)) != nullptr;
    const Bytes16 first = Bytes16{} + word[0];
    const Bytes16 last = Bytes16{} + word[length - 1];
    qsizetype at = 0;
    for (; at + length - 1 + 16 <= size; at += 16) {
        const Bytes16 both = (load16(text + at) == first) & (load16(text + at + length - 1) == last);
        quint64 halves[2];
        std::memcpy(halves, &both, sizeof halves);
        if (!(halves[0] | halves[1]))
            continue;
        const char *candidate = reinterpret_cast<const char *>(halves);
        for (int i = 0; i < 16; ++i)
            if (candidate[i] && std::memcmp(text + at + i + 1, word.constData() + 1, size_t(length - 2)) == 0)
                return true;
    }
    for (; at + length <= size; ++at)
        if (std::memcmp(text + at, word.constData(), size_t(length)) == 0)
            return true;
    return false;
}

// The keys are scattered over the heap: asking for the one a few entries ahead early hides
// most of the wait for memory.
void prefetchKey(const ClipItem &item)
{
    __builtin_prefetch(item.searchKey.folded.constData());
    __builtin_prefetch(item.searchKey.folded.constData() + 64);
}

constexpr qsizetype prefetchDistance = 8;

} // namespace

namespace HistorySearch {

QByteArrayList words(const QString &query)
{
    // Folded as the entries' search keys are, or they would not match.
    QByteArrayList words;
    for (const QString &word : query.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts))
        words << SearchKey::fold(word);
    std::stable_sort(words.begin(), words.end(),
                     [](const QByteArray &a, const QByteArray &b) { return a.size() > b.size(); });
    return words;
}

bool narrows(const QByteArrayList &words, const QByteArrayList &earlier)
{
    return std::all_of(earlier.begin(), earlier.end(), [&](const QByteArray &old) {
        return std::any_of(words.begin(), words.end(), [&](const QByteArray &word) { return word.contains(old); });
    });
}

bool matches(const ClipItem &item, const QByteArrayList &words)
{
    return std::all_of(words.begin(), words.end(),
                       [&](const QByteArray &word) { return contains(item.searchKey.folded, word); });
}

Rows find(const QList<ClipItem> &items, const QByteArrayList &words, std::optional<ClipKind> kind, bool pinnedOnly)
{
    Rows pinned, others;
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (i + prefetchDistance < items.size())
            prefetchKey(items[i + prefetchDistance]);
        const ClipItem &item = items[i];
        if ((pinnedOnly && !item.pinned) || (kind && item.kind != *kind) || !matches(item, words))
            continue;
        (item.pinned ? pinned : others).append(i);
    }
    return pinned + others;
}

Rows within(const QList<ClipItem> &items, const Rows &rows, const QByteArrayList &words)
{
    Rows kept;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (i + prefetchDistance < rows.size())
            prefetchKey(items[rows[i + prefetchDistance]]);
        if (matches(items[rows[i]], words))
            kept.append(rows[i]);
    }
    return kept;
}

} // namespace HistorySearch
