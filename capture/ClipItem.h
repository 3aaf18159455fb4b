// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The value types of the history.
#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <array>
#include <optional>

enum class ClipKind { text, image, link, file, color };

namespace ClipKinds {
inline constexpr std::array<ClipKind, 5> all{ClipKind::text, ClipKind::image, ClipKind::link, ClipKind::file,
                                             ClipKind::color};
QString rawValue(ClipKind kind);
std::optional<ClipKind> fromRawValue(const QString &raw);
}

// What the monitor read from the clipboard, before it becomes an entry. Never persisted.
struct ClipCapture {
    ClipKind kind = ClipKind::text;
    std::optional<QString> text;
    std::optional<QByteArray> rtfData;
    std::optional<QByteArray> htmlData;
    std::optional<QByteArray> imageData; // PNG
    std::optional<QStringList> fileURLs; // POSIX paths
    std::optional<QString> colorHex;     // "#RRGGBB"
    std::optional<QString> sourceAppBundleID;
    std::optional<QString> sourceAppName;

    qint64 byteSize() const;
    QString contentHash() const;
    bool operator==(const ClipCapture &) const = default;
};

// An entry's search text lower-cased, in UTF-8 (half the size of a QString for the usual text):
// what the palette's search looks through, made once per entry instead of at every keystroke.
// It follows from the entry's other fields, so comparing entries leaves it out.
struct SearchKey {
    QByteArray folded;

    static QByteArray fold(const QString &text);
    bool operator==(const SearchKey &) const { return true; }
};

// One history entry; its JSON form is the record of history.json.
struct ClipItem {
    QUuid id;
    ClipKind kind = ClipKind::text;
    QDateTime createdAt;
    std::optional<QString> sourceAppBundleID;
    std::optional<QString> sourceAppName;
    bool pinned = false;
    std::optional<QString> text;
    bool hasTextBlob = false;
    bool hasRTF = false;
    bool hasHTML = false;
    bool hasImage = false;
    std::optional<QStringList> fileURLs;
    std::optional<QString> colorHex;
    qint64 byteSize = 0;
    std::optional<qint64> charCount;
    std::optional<qint64> pixelWidth;
    std::optional<qint64> pixelHeight;
    QString contentHash;
    SearchKey searchKey; // not saved; set by updateSearchKey whenever the text or names change

    static QString hash(ClipKind kind, const std::optional<QString> &text, const std::optional<QByteArray> &imageData,
                        const std::optional<QStringList> &fileURLs);

    QString idString() const; // canonical upper-case UUID, also the side files' base name
    QString displayTitle() const;
    QString searchText() const;
    void updateSearchKey();

    QByteArray toJson() const; // compact, keys in field order, absent optionals left out
    static std::optional<ClipItem> fromJson(const QJsonObject &object); // with its search key

    bool operator==(const ClipItem &) const = default;
};
// Every member may be moved in memory as it is: a long history grows and reorders without
// copying its entries one by one.
Q_DECLARE_TYPEINFO(ClipItem, Q_RELOCATABLE_TYPE);
