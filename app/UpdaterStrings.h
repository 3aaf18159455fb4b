// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The update dialog's own texts, in the fourteen languages. They are kept apart from the
// application's catalogue, which holds only the interface's own keys.
#include "l10n/AppLanguage.h"

#include <QString>

namespace UpdaterStrings {

enum class Key {
    windowTitle,   // "Software Update"
    checking,      // "Checking for updates…"
    upToDate,      // "You’re up to date!"
    upToDateBody,  // "Stashwell %1 is currently the newest version available."
    available,     // "A new version of Stashwell is available!"
    availableBody, // "Stashwell %1 is now available—you have %2. Would you like to download it now?"
    releaseNotes,  // "Release Notes"
    download,      // "Download"
    skip,          // "Skip This Version"
    later,         // "Remind Me Later"
    error,         // "Update Error!"
    errorBody,     // "An error occurred in retrieving update information. Please try again later."
};
inline constexpr int keyCount = 12;

QString text(Key key, AppLanguage language);

} // namespace UpdaterStrings
