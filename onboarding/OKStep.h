// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The generic guide's page description and button texts.
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

class QWidget;

struct OKStep {
    enum class Kind { welcome, permissions, setup, tutorial, consent };

    Kind kind = Kind::welcome;
    std::function<QWidget *()> content;           // builds the page's view (in the current language)
    std::function<bool()> requiredGranted;        // the permission the page asks for
    bool skippable = false;
    std::function<QString()> primaryTitle;        // else startTitle / continueTitle
    std::function<QString()> secondaryTitle;      // else `later`
    std::function<bool()> primaryAction;          // runs first; false keeps the page
    std::function<bool()> secondaryAction;
};

// Each a function, so the texts follow the interface language.
struct OKStrings {
    std::function<QString()> continueTitle;
    std::function<QString()> startTitle;
    std::function<QString()> waiting;
    std::function<QString()> later;
    std::function<QString()> back;
};

// The guide's environment variables.
namespace OnboardingKitEnv {
inline constexpr auto forcedVariable = "NORVANE_ONBOARDING";
inline constexpr auto pageVariable = "NORVANE_ONBOARDING_PAGE";

// Reads one variable; nullopt when unset.
using Environment = std::function<std::optional<QString>(const QString &name)>;
Environment process();

// NORVANE_ONBOARDING is exactly "1" (then each legacy name, the same way).
bool forced(const QStringList &legacy, const Environment &environment = process());
// NORVANE_ONBOARDING_PAGE (then each legacy name + "_PAGE") when it parses as a page number.
std::optional<qint64> pinnedPage(const QStringList &legacy, const Environment &environment = process());
// A decimal number with an optional leading "+" or "-", nothing else.
std::optional<qint64> parsePage(const QString &value);
} // namespace OnboardingKitEnv
