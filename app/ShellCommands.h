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

private:
    // `stashwell config [KEY [VALUE [--yes]]]`: a value that would delete entries needs `confirmed`.
    ShellReply config(const QString &key, const QJsonValue &value, bool confirmed);
    // How many unpinned entries setting `key` to `value` would delete at once (historyLimit only).
    qsizetype entriesLostTo(const QString &key, const QJsonValue &value) const;
    ShellReply signIn();

    HistoryStore &m_store;
    AppSettings &m_settings;
    PaletteController &m_palette;
    CloudAccount &m_account;
    Actions m_actions;
};
