// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Paths.h"

#include <QDir>

namespace Paths {

static QString xdg(const char *variable, const char *fallback)
{
    const QString value = qEnvironmentVariable(variable);
    // The XDG Base Directory rules say relative values are ignored.
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return value;
    return QDir::homePath() + QLatin1Char('/') + QLatin1String(fallback);
}

QString dataHome() { return xdg("XDG_DATA_HOME", ".local/share"); }
QString configHome() { return xdg("XDG_CONFIG_HOME", ".config"); }
QString historyDir() { return dataHome() + QStringLiteral("/Stashwell"); }
QString diagnosticsDir() { return dataHome() + QStringLiteral("/com.norvane.Stashwell"); }
QString skyletSocket() { return dataHome() + QStringLiteral("/Skylet/bridge.sock"); }
QString defaultsFile() { return configHome() + QStringLiteral("/Stashwell/defaults.json"); }
QString autostartFile() { return configHome() + QStringLiteral("/autostart/com.norvane.Stashwell.desktop"); }

} // namespace Paths
