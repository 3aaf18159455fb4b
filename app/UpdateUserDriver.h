// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// How the updater talks to the user. The real one is UpdateDialog; tests record the calls.
#include "app/Appcast.h"

#include <functional>

class UpdateUserDriver {
public:
    enum class Choice { download, skip, later };

    virtual ~UpdateUserDriver() = default;
    // A check the user asked for has started; `cancel` stops it.
    virtual void showChecking(std::function<void()> cancel) = 0;
    virtual void showUpToDate(const QString &currentVersion) = 0;
    // `reply` is called once with the user's choice.
    virtual void showUpdateFound(const AppcastItem &item, const QString &currentVersion,
                                 std::function<void(Choice)> reply) = 0;
    virtual void showError() = 0;
    // The check ended without anything to show (cancelled).
    virtual void dismiss() = 0;
};
