// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The one owner of the palette. Opens and places the panel, routes its keys,
// and turns the choice of an entry into a paste or a copy (`confirm`, the single way to
// paste an entry from anywhere in the application).
#include "capture/ClipItem.h"
#include "diagnostics/UsageEvents.h"
#include "palette/PaletteModel.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>

class ActiveWindow;
class AppIconCache;
class AppSettings;
class Clock;
class HUDToast;
class HistoryStore;
class L10n;
class PalettePanel;
class PaletteView;
class PasteService;
class QKeyEvent;
class QWidget;

class PaletteController : public QObject {
    Q_OBJECT
public:
    static constexpr int panelWarmUpMs = 1000;

    struct Sample {
        QString trigger;
        qsizetype items = 0;
        qint64 ms = 0;
    };

    PaletteController(HistoryStore &store, AppSettings &settings, L10n &l10n, PasteService &paste, HUDToast &toast,
                      ActiveWindow &activeWindow, AppIconCache &icons, Clock &clock, RecordUsage record,
                      std::function<int()> drawOneInTen = {}, QObject *parent = nullptr);
    ~PaletteController() override;
    static PaletteController &shared();

    void show(const QString &trigger);
    void close();
    // Closes when open, else opens: the hot key, the tray icon, `stashwell toggle`.
    void toggle(const QString &trigger);
    void confirm(const ClipItem &item, bool copyOverride, bool plainOverride);
    bool isVisible() const;

    // Puts the panel on screen; the composition root hands in one that gives it the keyboard at once.
    std::function<void(QWidget *panel)> showPanel;

    // The palette's keyboard shortcuts; true when the key was consumed.
    bool handle(const QKeyEvent &event);

    PaletteModel &model() { return m_model; }
    PalettePanel *panel() const { return m_panel; }
    PaletteView *view() const { return m_view; }
    const std::optional<Sample> &pendingOpenSample() const { return m_pendingOpenSample; }

    // The "paste.result" buckets.
    static QString sizeBucket(qint64 byteSize);
    static QString ageBucket(qint64 seconds);
    static QString itemType(ClipKind kind);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void ensurePanel();
    void startClock();
    void recordPasteResult(const ClipItem &item, bool pasted, qsizetype index, bool viaSearch);

    HistoryStore &m_store;
    AppSettings &m_settings;
    L10n &m_l10n;
    PasteService &m_paste;
    HUDToast &m_toast;
    ActiveWindow &m_activeWindow;
    AppIconCache &m_icons;
    Clock &m_clock;
    RecordUsage m_record;
    std::function<int()> m_drawOneInTen;
    PaletteModel m_model;
    PaletteView *m_view = nullptr;
    PalettePanel *m_panel = nullptr;
    QTimer *m_clockTimer = nullptr;
    std::optional<Sample> m_pendingOpenSample;
    bool m_closing = false;
};
