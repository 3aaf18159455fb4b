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
    // Opens the General tab with its hot-key recorder listening.
    static void chooseAnotherHotKey();
    // One small window that stays until it is closed and never takes the focus; a second text
    // while it is open is added to it. `offerChoice` adds a button to the hot-key recorder.
    void showNotice(const QString &text, bool offerChoice);

    AppSettings &m_settings;
    StatusItemController *m_statusItem = nullptr;
    QTimer m_pruneTimer;
    QPointer<QMessageBox> m_notice;
};
