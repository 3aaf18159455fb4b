// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>

// Where Stashwell keeps its files, under the XDG base directories.
namespace Paths {
QString dataHome();        // $XDG_DATA_HOME or ~/.local/share
QString configHome();      // $XDG_CONFIG_HOME or ~/.config
QString historyDir();      // <data>/Stashwell
QString diagnosticsDir();  // <data>/com.norvane.Stashwell
QString skyletSocket();    // <data>/Skylet/bridge.sock
QString defaultsFile();    // <config>/Stashwell/defaults.json
QString autostartFile();   // <config>/autostart/com.norvane.Stashwell.desktop
}
