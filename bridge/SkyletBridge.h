// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The client end of the local socket to the companion notch application, Skylet.
// While connected it keeps the companion supplied with a "widget.state" declaration, follows
// the companion's interface language and carries out its commands (paste an entry, open the
// palette). While the companion's socket does not exist it stays silent and asleep: the
// socket's folder is watched, and ticks only run while the socket is there.
#include "bridge/FrameWriter.h"
#include "bridge/LineFramer.h"
#include "bridge/WidgetMessage.h"
#include "capture/ClipItem.h"
#include "l10n/AppLanguage.h"

#include <QByteArrayView>
#include <QFileSystemWatcher>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>
#include <functional>
#include <optional>

class Clock;
class HistoryStore;
class L10n;
class QSocketNotifier;
class QTimer;

// What the bridge takes besides its collaborators; the defaults are the application's.
struct SkyletBridgeOptions {
    int tickMs = 6000; // retry and refresh interval
    // relFormatter's language (BCP 47) until the companion reports one; empty = the system's.
    QString relativeTimeLanguage;
    // The sender's identifier; empty = the desktop-file name, else "com.norvane.Stashwell".
    QString appID;
    // Where each companion command is logged (DebugLog::log); empty = not logged.
    std::function<void(const QString &line)> log;
};

class SkyletBridge : public QObject {
    Q_OBJECT
public:
    using ShowPalette = std::function<void(const QString &trigger)>; // PaletteController::show
    using Confirm = std::function<void(const ClipItem &item)>; // PaletteController::confirm(item, false, false)

    static constexpr int defaultTickMs = 6000;
    static constexpr qsizetype readChunkBytes = 4096;
    static constexpr qsizetype maxItems = 10;
    static constexpr qsizetype maxTitleCharacters = 60;
    static constexpr QLatin1StringView fallbackAppID{"com.norvane.Stashwell"};
    static constexpr QLatin1StringView openPaletteActionID{"openPalette"};
    static constexpr QLatin1StringView paletteTrigger{"notch"};

    SkyletBridge(HistoryStore &store, L10n &l10n, Clock &clock, ShowPalette showPalette, Confirm confirm,
                 SkyletBridgeOptions options = {}, QObject *parent = nullptr);
    ~SkyletBridge() override; // closes the socket (the shared instance is never destroyed)
    static SkyletBridge &shared();

    // Once, on the main thread, after launch: connect, start the tick, follow the history.
    void start();

    // Read-only state, for the tester log and tests.
    bool isConnected() const { return m_fd >= 0; }
    int tickInterval() const { return m_tickMs; }
    const QString &appID() const { return m_appID; }
    std::optional<AppLanguage> hostLanguage() const { return m_hostLang; }
    const QString &relativeTimeLanguage() const { return m_relLanguage; }
    const QList<QUuid> &lastSentIDs() const { return m_lastSentIDs; }
    qsizetype bufferedBytes() const { return m_readBuffer.bufferedBytes(); } // received, not yet a line
    qsizetype pendingBytes() const { return m_writer.pendingBytes(); }      // framed, not yet written

    // The title rule of a text entry: first line after trimming, at most 60 characters.
    static QString textTitle(const QString &text);

private:
    void tick();
    void followSocket();
    void connectIfPossible();
    void installReader(int fd);
    void readAvailable();
    void send(const WidgetMessage &message);
    void flush();
    void declareIfChanged(bool force);
    WidgetItem widgetItem(const ClipItem &item) const;
    QString text(const QString &key) const;
    void consume(QByteArrayView bytes);
    void applyHostLanguage(const std::optional<QString> &code);
    void handle(const WidgetMessage &command);
    void dropConnection(); // closes the socket and forgets unread and unsent bytes

    HistoryStore &m_store;
    L10n &m_l10n;
    Clock &m_clock;
    ShowPalette m_showPalette;
    Confirm m_confirm;
    std::function<void(const QString &)> m_log;
    const int m_tickMs;
    const QString m_appID;

    int m_fd = -1;
    QSocketNotifier *m_reader = nullptr;
    QSocketNotifier *m_writable = nullptr; // armed while a frame waits for the socket
    LineFramer m_readBuffer;
    FrameWriter m_writer;
    QTimer *m_retryTimer = nullptr;
    QFileSystemWatcher m_socketWatch;
    QList<QUuid> m_lastSentIDs;
    std::optional<AppLanguage> m_hostLang;
    QString m_relLanguage;
};
