#include "app/ShellCommands.h"

#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "palette/PaletteController.h"

#include <QLoggingCategory>
#include <QTimer>

namespace {
Q_LOGGING_CATEGORY(shellLog, "stashwell.shell", QtWarningMsg)

QString oneLine(QString title)
{
    for (QChar &c : title)
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QLatin1Char('\t') || c == QChar::LineSeparator
            || c == QChar::ParagraphSeparator)
            c = QLatin1Char(' ');
    return title;
}
} // namespace

ShellCommands::ShellCommands(HistoryStore &store, AppSettings &settings, PaletteController &palette, Actions actions)
    : m_store(store)
    , m_settings(settings)
    , m_palette(palette)
    , m_actions(std::move(actions))
{
}

QString ShellCommands::listing(const QList<ClipItem> &items)
{
    QString text;
    for (qsizetype i = 0; i < items.size(); ++i)
        text += QStringLiteral("%1\t%2\n").arg(i + 1).arg(oneLine(items[i].displayTitle()));
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
    case Kind::help:
    case Kind::version:
        break;
    }
    return {false, QStringLiteral("Not a command for the running Stashwell.\n")};
}
