// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ShellCommands.h"

#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "cloud/CloudAccount.h"
#include "common/OrderedJson.h"
#include "common/SingleLine.h"
#include "palette/PaletteController.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLoggingCategory>
#include <QTimer>
#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(shellLog, "stashwell.shell", QtWarningMsg)

QString json(const QJsonValue &value)
{
    return QString::fromUtf8(OrderedJsonObject::encode(value));
}

ShellReply usageError(const QString &message)
{
    return {false, message + QLatin1Char('\n'), true};
}

#ifdef STASHWELL_TEST_HOOKS
// For end-to-end tests: every shown window (object name, size) with its shown labels and
// buttons: object name, text, geometry in the window and the height the widget needs there.
QString shownWidgets()
{
    QJsonArray windows;
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (!window->isVisible())
            continue;
        QJsonArray widgets;
        for (QWidget *widget : window->findChildren<QWidget *>()) {
            const auto *label = qobject_cast<QLabel *>(widget);
            const auto *button = qobject_cast<QAbstractButton *>(widget);
            if ((!label && !button) || !widget->isVisible())
                continue;
            const QPoint at = widget->mapTo(window, QPoint());
            const int needed = widget->hasHeightForWidth() ? widget->heightForWidth(widget->width())
                                                           : widget->minimumSizeHint().height();
            widgets.append(QJsonObject{{"name", widget->objectName()}, {"text", label ? label->text() : button->text()},
                                       {"x", at.x()}, {"y", at.y()}, {"width", widget->width()},
                                       {"height", widget->height()}, {"neededHeight", needed}});
        }
        windows.append(QJsonObject{{"name", window->objectName()}, {"width", window->width()},
                                   {"height", window->height()}, {"widgets", widgets}});
    }
    return QString::fromUtf8(QJsonDocument(windows).toJson(QJsonDocument::Compact)) + QLatin1Char('\n');
}
#endif
} // namespace

ShellCommands::ShellCommands(HistoryStore &store, AppSettings &settings, PaletteController &palette,
                             CloudAccount &account, Actions actions)
    : m_store(store)
    , m_settings(settings)
    , m_palette(palette)
    , m_account(account)
    , m_actions(std::move(actions))
{
}

QString ShellCommands::listing(const QList<ClipItem> &items)
{
    QString text;
    for (qsizetype i = 0; i < items.size(); ++i)
        text += QStringLiteral("%1\t%2\n").arg(i + 1).arg(singleLine(items[i].displayTitle()));
    return text;
}

ShellReply ShellCommands::run(const ShellCommand &command)
{
    using Kind = ShellCommand::Kind;
    switch (command.kind) {
    case Kind::launch: // a second start from the application menu: bring up the history
    case Kind::show:
        m_palette.show(QStringLiteral("menu"));
        return {};
    case Kind::toggle:
        m_palette.toggle(QStringLiteral("menu"));
        return {};
    case Kind::pause:
    case Kind::resume:
        m_settings.setMonitoringPaused(command.kind == Kind::pause);
        return {};
    case Kind::list:
        return {true, listing(m_store.items())};
    case Kind::paste: {
        const QList<ClipItem> &items = m_store.items();
        if (command.index < 1 || command.index > items.size())
            return {false, QStringLiteral("No entry %1: the history holds %2.\n").arg(command.index).arg(items.size())};
        const ClipItem item = items[command.index - 1];
        m_palette.confirm(item, false, false);
        return {};
    }
    case Kind::quit:
        if (m_actions.quit)
            QTimer::singleShot(0, m_actions.quit); // lets the reply go out first
        return {};
    case Kind::openURL:
        // The code and state are secrets: only the host is logged.
        qCInfo(shellLog).noquote() << "URL callback received, host" << command.url.host();
        if (m_actions.openURL)
            m_actions.openURL(command.url);
        return {};
    case Kind::config: {
        const ShellReply reply = configure(m_settings, m_store.items(), command);
        // As the settings window does: a smaller limit applies at once.
        if (reply.ok && !command.value.isUndefined() &&
            (command.key == QLatin1String("historyLimit") || command.key == QLatin1String("historyRetentionDays")))
            m_store.prune();
        return reply;
    }
    case Kind::signIn:
        return signIn();
    case Kind::signOut:
        m_account.signOut();
        return {true, QStringLiteral("Signed out.\n")};
    case Kind::shownWidgets: // parsed only in test-hook builds
#ifdef STASHWELL_TEST_HOOKS
        return {true, shownWidgets()};
#endif
    case Kind::help:
    case Kind::version:
        break;
    }
    return {false, QStringLiteral("Not a command for the running Stashwell.\n")};
}

ShellReply ShellCommands::configure(AppSettings &settings, const QList<ClipItem> &items, const ShellCommand &command)
{
    const QString &key = command.key;
    const QJsonValue &value = command.value;
    if (key.isEmpty()) {
        QString text;
        for (const QString &each : AppSettings::keys())
            text += each + QLatin1Char('\t') + json(settings.value(each)) + QLatin1Char('\n');
        return {true, text};
    }
    if (!AppSettings::keys().contains(key))
        return usageError(QStringLiteral("Unknown setting: %1 (`stashwell config` lists them).").arg(singleLine(key)));
    if (value.isUndefined())
        return {true, json(settings.value(key)) + QLatin1Char('\n')};
    const QString expected = AppSettings::expectedType(key, value);
    if (!expected.isEmpty())
        return usageError(QStringLiteral("%1 takes %2, not %3.").arg(key, expected, json(value)));
    if (const qsizetype lost = entriesLostTo(items, key, value); lost > 0 && !command.confirmed)
        return {false, QStringLiteral("historyLimit %1 deletes the %2 oldest entries (pinned ones stay). Nothing was "
                                      "changed; add --yes to go ahead.\n")
                           .arg(value.toInteger())
                           .arg(lost)};
    settings.setValue(key, value);
    return {};
}

qsizetype ShellCommands::entriesLostTo(const QList<ClipItem> &items, const QString &key, const QJsonValue &value)
{
    if (key != QLatin1String("historyLimit"))
        return 0;
    const qsizetype unpinned = std::count_if(items.begin(), items.end(), [](const ClipItem &i) { return !i.pinned; });
    return qMax<qsizetype>(0, unpinned - value.toInteger());
}

QList<ClipItem> ShellCommands::savedItems(const QString &historyFile)
{
    QFile file(historyFile);
    if (file.size() > HistoryStore::maxHistoryFileBytes || !file.open(QIODevice::ReadOnly))
        return {};
    return HistoryStore::decode(file.readAll()).value_or(QList<ClipItem>());
}

// Without a web-service root nothing is sent, so there is no sign-in.
ShellReply ShellCommands::signIn()
{
    if (!m_account.isAvailable())
        return {false, QStringLiteral("Sign-in is not available: no web service is set (STASHWELL_SERVICE_URL).\n")};
    if (m_account.state().signedIn)
        return {false,
                QStringLiteral("Already signed in (%1); `stashwell sign-out` first.\n").arg(m_account.state().email)};
    const QUrl page = m_account.signIn();
    return {true, QStringLiteral("Continue in the browser. If none opened, open this address in one:\n%1\n")
                      .arg(page.toString(QUrl::FullyEncoded))};
}
