// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The few texts the settings window needs beyond the main catalogue: the privacy tab's
// application chooser and the account tab's notice while no web service is configured.
// Fourteen languages, like the catalogue; looked up in L10n's current language.
#include "l10n/AppLanguage.h"

#include <QString>

namespace SettingsExtraStrings {

enum class Key {
    signInUnavailable, // "Sign-in is not available: this build has no web service configured."
    chooseApps,        // "Choose Applications"
    searchApps,        // "Search applications"
};

QString text(Key key, AppLanguage language);

} // namespace SettingsExtraStrings
