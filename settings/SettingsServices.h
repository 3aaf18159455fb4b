// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// What the settings window works on: the settings store and the other subsystems'
// services, each as a reference or a callback, so that tests build the window over fakes.
#include <QStringList>
#include <functional>
#include <optional>

#include "settings/PollTimer.h"

class AccessibilityPermission;
class AppIconCache;
class AppSettings;
class DesktopEntries;
class GlobalHotKey;
class HistoryStore;
class L10n;
class QWidget;
class SettingsAccount;

// The appcast updater; present only when the build declares a feed (STASHWELL_FEED_URL).
struct SettingsUpdater {
    std::function<void()> checkNow;
    std::function<bool()> automaticChecks;
    std::function<void(bool)> setAutomaticChecks;
};

struct SettingsServices {
    AppSettings &settings;
    L10n &l10n;
    HistoryStore &store;
    const DesktopEntries &apps;  // installed applications: names of excluded apps
    AppIconCache &icons;         // and their icons
    AccessibilityPermission &accessibility;
    SettingsAccount &account;
    std::optional<SettingsUpdater> updater;
    // The clear-history question (asks, then clears).
    std::function<void()> clearHistory;
    // "Add App…": the desktop-entry IDs the user chose, in order (empty when cancelled).
    std::function<QStringList(QWidget *parent)> chooseApps;
    // Every click on the sidebar's application icon (TesterModeIcon: eight quick clicks
    // switch the tester mode).
    std::function<void()> onIconClicked;
    // The permissions tab's one-second polling.
    PollTimerFactory timers = PollTimers::qt();
    // The version shown by the about tab (the project version).
    QString version;
    // The web service's host name, named by the privacy texts; empty when no service is
    // configured: then nothing is sent and the diagnostics switches are disabled.
    QString serviceHost;
    // The global hot key, whose failed grab the General tab reports (none in most tests).
    GlobalHotKey *hotKey = nullptr;
    // Whether the desktop shows Stashwell only some of the other applications' copies, or none
    // (GNOME on Wayland): the permissions tab says why.
    std::function<bool()> captureLimited = [] { return false; };
};
