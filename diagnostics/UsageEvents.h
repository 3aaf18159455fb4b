// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>
#include <QVariantMap>
#include <functional>

// How a subsystem records an anonymous usage event ("capture.skipped", ...). In the running
// application this is ImproveReporter::shared().record; tests pass a recorder.
using RecordUsage = std::function<void(const QString &name, const QVariantMap &properties)>;
