// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// What the running instance does with a command from the command line (SingleInstance),
// or with the command it was itself started with.
#include "app/SingleInstance.h"

#include <QList>
#include <functional>

class AppSettings;
class CloudAccount;
class HistoryStore;
class PaletteController;
struct ClipItem;

class ShellCommands {
public:
    struct Actions {
        std::function<void(const QUrl &)> openURL; // AppDelegate::handleURL: stashwell:// callbacks
        std::function<void()> quit;                 // called after the reply is on its way
    };

    ShellCommands(HistoryStore &store, AppSettings &settings, PaletteController &palette, CloudAccount &account,
                  Actions actions);

    ShellReply run(const ShellCommand &command);

    // `stashwell list`: "<position>\t<title>" per entry, in stored order (newest first,
    // pinned entries not lifted), the numbering `paste N` uses. Titles are one line each.
    static QString listing(const QList<ClipItem> &items);

    // `stashwell config [KEY [VALUE [--yes]]]` on `settings`, by the running instance or, while
    // none runs, by the command itself on the preferences file. `items`: the history, for the
    // rule that a value deleting entries needs --yes.
    static ShellReply configure(AppSettings &settings, const QList<ClipItem> &items, const ShellCommand &command);
    // The entries of a saved history file; none when it is missing, too large or does not decode
    // (the next start sets such a file aside).
    static QList<ClipItem> savedItems(const QString &historyFile);

private:
    // How many unpinned entries setting `key` to `value` would delete at once (historyLimit only).
    static qsizetype entriesLostTo(const QList<ClipItem> &items, const QString &key, const QJsonValue &value);
    ShellReply signIn();

    HistoryStore &m_store;
    AppSettings &m_settings;
    PaletteController &m_palette;
    CloudAccount &m_account;
    Actions m_actions;
};
