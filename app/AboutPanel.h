// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The about panel of the tray menu: icon, "Stashwell", version and build.
#include <QPointer>

class L10n;
class QMessageBox;

namespace AboutPanel {
// Opens the panel, or brings the open one to the front; it is not modal.
QMessageBox *show(L10n &l10n);
// "Version 0.1.0 (1)" in the current language.
QString versionLine(L10n &l10n);
}
