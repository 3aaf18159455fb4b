// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The update feed, a Sparkle appcast (RSS 2.0 with the Sparkle namespace).
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>
#include <optional>

struct AppcastItem {
    QString title;
    QString version;        // sparkle:version: compared with the build number
    QString displayVersion; // sparkle:shortVersionString, else the version
    QUrl downloadURL;       // the enclosure's url
    QUrl infoURL;           // <link> (informational updates without an enclosure)
    QUrl releaseNotesURL;   // sparkle:releaseNotesLink
    QString descriptionHTML; // <description>: inline release notes
    QDateTime date;         // <pubDate>
    QString os;             // the enclosure's sparkle:os, empty when not given
    QString channel;        // sparkle:channel, empty for the default channel
    bool critical = false;  // sparkle:criticalUpdate

    // Where "Download" leads: the enclosure, else the information page, else the notes.
    QUrl pageURL() const;
};

namespace Appcast {

inline constexpr const char *sparkleNamespace = "http://www.andymatuschak.org/xml-namespaces/sparkle";

struct Parsed {
    std::optional<QList<AppcastItem>> items; // nullopt: not an appcast, `error` says why
    QString error;
};

// Every <item> of the channel that has a version, in feed order.
Parsed parse(const QByteArray &xml);

// Items this program can use: for Linux or any system, on the default channel, with an
// http(s) page to send the user to.
bool isApplicable(const AppcastItem &item);

// The applicable item with the highest version, when it is newer than `hostVersion` and,
// if `skippedVersion` is given, newer than that too.
std::optional<AppcastItem> bestUpdate(const QList<AppcastItem> &items, const QString &hostVersion,
                                      const QString &skippedVersion = {});

bool isWebURL(const QUrl &url);

} // namespace Appcast
