#pragma once
// A user driver for the updater that records what it was asked to show and answers offers
// with a preset choice.
#include "app/UpdateUserDriver.h"

#include <QStringList>

class FakeUpdateDriver final : public UpdateUserDriver {
public:
    void showChecking(std::function<void()> cancelCheck) override
    {
        shown << QStringLiteral("checking");
        cancel = std::move(cancelCheck);
    }
    void showUpToDate(const QString &currentVersion) override { shown << QStringLiteral("upToDate ") + currentVersion; }
    void showUpdateFound(const AppcastItem &item, const QString &currentVersion, std::function<void(Choice)> reply) override
    {
        shown << QStringLiteral("update %1 over %2").arg(item.displayVersion, currentVersion);
        offered = item;
        if (choice)
            reply(*choice);
    }
    void showError() override { shown << QStringLiteral("error"); }
    void dismiss() override { shown << QStringLiteral("dismiss"); }

    QStringList shown;
    std::function<void()> cancel;
    std::optional<AppcastItem> offered;
    std::optional<Choice> choice; // how the user answers an offer; none: the offer stays open
};
