// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The ten preferences that travel between machines, and their blob: compact JSON
// with keys in ascending order, absent fields left out.
#include <QString>
#include <QStringList>
#include <optional>

class AppSettings;

struct SyncPayload {
    std::optional<QString> languageCode;
    std::optional<qint64> historyLimit;
    std::optional<qint64> historyRetentionDays;
    std::optional<bool> moveToTopOnPaste;
    std::optional<bool> alwaysPlainText;
    std::optional<bool> restoreClipboardAfterPaste;
    std::optional<bool> clearOnQuit;
    std::optional<bool> builtInExclusionsEnabled;
    std::optional<QStringList> excludedBundleIDs;
    std::optional<bool> improveDataSharing;

    // Every field from the settings; `languageCode` absent without a language override.
    static SyncPayload from(const AppSettings &settings);
    // Through the ordinary setters: `languageCode` always (absent clears the override),
    // every other field only when present.
    void apply(AppSettings &settings) const;

    QString blob() const;
    // Unknown keys are ignored; a known key of the wrong type (or no JSON object) fails.
    static std::optional<SyncPayload> decode(const QString &blob);

    bool operator==(const SyncPayload &) const = default;
};
