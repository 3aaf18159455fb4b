// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Starts the long-lived services in their launch order and flushes the history at quit.
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

class AppSettings;
class DefaultsStore;
class StatusItemController;

class AppDelegate : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(AppSettings &settings, QObject *parent = nullptr);
    ~AppDelegate() override;

    // First thing at process start: make "AppleLanguages" follow the stored interface-language
    // override ("languageCode"), or remove it when there is none.
    static void applyLanguageOverride(DefaultsStore &defaults);
    // A GNOME session on Wayland (XDG_CURRENT_DESKTOP names GNOME, WAYLAND_DISPLAY is set).
    static bool isGnomeOnWayland();
    // Whether the desktop shows Stashwell only some or none of the other applications' copies:
    // a Wayland desktop without a data-control protocol, or GNOME through XWayland.
    static bool isCaptureLimited();

    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    // A stashwell:// URL handed over by a second process: a completed sign-in shows the account.
    void handleURL(const QUrl &url);

private:
    // The main menu's quit key (QuitShortcut); Qt's text fields bind the editing keys.
    void installEditMenu();
    // The hot key follows the setting; a combination another program holds is reported once.
    void startHotKey();
    void hotKeyStatusChanged();
    // On Wayland only a desktop with a data-control protocol shows Stashwell other applications'
    // copies (GNOME has none): a notice says so once the clipboard knows, and on GNOME, where
    // Stashwell runs through XWayland instead, at every start.
    void reportMissingCapture();
    // Opens the General tab with its hot-key recorder listening.
    static void chooseAnotherHotKey();
    // One small window that stays until it is closed and never takes the focus; a second text
    // while it is open is added to it. `offerChoice` adds a button to the hot-key recorder.
    void showNotice(const QString &text, bool offerChoice);

    AppSettings &m_settings;
    StatusItemController *m_statusItem = nullptr;
    QTimer m_pruneTimer;
    QPointer<QMessageBox> m_notice;
    bool m_hotKeyAdviceShown = false; // how to bind `stashwell toggle` on Wayland, once a run
};
