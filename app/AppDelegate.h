#pragma once
// Starts the long-lived services in their launch order and flushes the history at quit.
#include <QObject>
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

    AppSettings &m_settings;
    StatusItemController *m_statusItem = nullptr;
    QTimer m_pruneTimer;
};
