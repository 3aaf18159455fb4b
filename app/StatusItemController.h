// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The tray icon and its menu. A plain click toggles the palette; a right click
// (or Super + click) opens a menu, built fresh each time, with the five most
// recent entries and the application's commands.
#include "app/ClearHistoryDialog.h"
#include "app/MenuBarIcon.h"

#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QTimer>
#include <functional>

class AppSettings;
class HistoryStore;
class L10n;
class PaletteController;

class StatusItemController : public QObject {
    Q_OBJECT
public:
    static constexpr int recentCount = 5;
    static constexpr int titleLength = 40; // characters, no ellipsis

    StatusItemController(HistoryStore &store, AppSettings &settings, L10n &l10n, PaletteController &palette,
                         ClearHistoryDialog::Ask askClear = ClearHistoryDialog::execute, QObject *parent = nullptr);
    // With the shared services (the composition root defines it).
    explicit StatusItemController(AppSettings &settings, QObject *parent = nullptr);

    // Set by the application delegate. The update item is shown only while
    // onCheckForUpdates is set (i.e. when a feed URL is configured).
    std::function<void()> onShowOnboarding;
    std::function<void()> onShowSettings;
    std::function<void()> onCheckForUpdates;
    std::function<void()> onShowAbout;
    std::function<void()> onQuit;
    // Runs once when a tray appears after the start found none.
    std::function<void()> onTrayAppeared;
    static constexpr int trayPollMs = 3000; // only while there is no tray

    QSystemTrayIcon *statusItem() const { return m_statusItem; }
    MenuBarIcon::State iconState() const { return m_iconState; }
    // The menu while it is open, else null.
    QMenu *menu() const { return m_menu; }

    void refreshIcon();
    // The tray's activation: `modifiers` are those held at the click.
    void clicked(QSystemTrayIcon::ActivationReason reason, Qt::KeyboardModifiers modifiers);
    // A fresh menu; the caller owns it.
    QMenu *buildMenu();
    void menuDidClose();

protected:
    // Tray hosts that take the icon over D-Bus only fetch it again when it is set again, so a
    // theme change redraws it in the new text colour.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void openMenu();
    void addRecentEntries(QMenu *menu);
    QAction *addItem(QMenu *menu, const QString &key, const QString &keyEquivalent, std::function<void()> action);
    void pasteRecent(const QString &id);
    void togglePause();

    HistoryStore &m_store;
    AppSettings &m_settings;
    L10n &m_l10n;
    PaletteController &m_palette;
    ClearHistoryDialog m_clearDialog;
    QSystemTrayIcon *m_statusItem;
    QPointer<QMenu> m_menu;
    QTimer m_trayPoll;
    MenuBarIcon::State m_iconState = MenuBarIcon::State::active;
};
