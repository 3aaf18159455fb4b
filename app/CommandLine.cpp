// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/CommandLine.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

struct Verb {
    const char *name;
    ShellCommand::Kind kind;
};

constexpr Verb verbs[] = {
    {"toggle", ShellCommand::Kind::toggle}, {"show", ShellCommand::Kind::show},   {"pause", ShellCommand::Kind::pause},
    {"resume", ShellCommand::Kind::resume}, {"list", ShellCommand::Kind::list},   {"paste", ShellCommand::Kind::paste},
    {"quit", ShellCommand::Kind::quit},     {"url", ShellCommand::Kind::openURL}, {"launch", ShellCommand::Kind::launch},
    {"config", ShellCommand::Kind::config}, {"sign-in", ShellCommand::Kind::signIn},
    {"sign-out", ShellCommand::Kind::signOut},
#ifdef STASHWELL_TEST_HOOKS
    {"test-widgets", ShellCommand::Kind::shownWidgets},
#endif
};

std::optional<ShellCommand::Kind> kindNamed(const QString &name)
{
    for (const Verb &verb : verbs)
        if (name == QLatin1String(verb.name))
            return verb.kind;
    return std::nullopt;
}

QString nameOf(ShellCommand::Kind kind)
{
    for (const Verb &verb : verbs)
        if (verb.kind == kind)
            return QString::fromLatin1(verb.name);
    return {};
}

bool isStashwellURL(const QUrl &url)
{
    return url.isValid() && url.scheme().compare(QLatin1String(CommandLine::urlScheme), Qt::CaseInsensitive) == 0;
}

std::optional<int> positiveNumber(const QString &text)
{
    bool ok = false;
    const int n = text.toInt(&ok);
    if (!ok || n < 1)
        return std::nullopt;
    return n;
}

} // namespace

bool ShellCommand::needsRunningInstance() const
{
    return kind == Kind::list || kind == Kind::paste || kind == Kind::quit || kind == Kind::config ||
           kind == Kind::shownWidgets;
}

bool ShellCommand::isLocal() const
{
    return kind == Kind::help || kind == Kind::version;
}

QByteArray ShellCommand::toRequest() const
{
    QJsonObject request{{QStringLiteral("command"), nameOf(kind)}};
    if (kind == Kind::paste)
        request.insert(QStringLiteral("index"), index);
    if (kind == Kind::openURL)
        request.insert(QStringLiteral("url"), url.toString(QUrl::FullyEncoded));
    if (kind == Kind::config && !key.isEmpty())
        request.insert(QStringLiteral("key"), key);
    if (kind == Kind::config && !value.isUndefined())
        request.insert(QStringLiteral("value"), value);
    if (kind == Kind::config && confirmed)
        request.insert(QStringLiteral("yes"), true);
    return QJsonDocument(request).toJson(QJsonDocument::Compact);
}

std::optional<ShellCommand> ShellCommand::fromRequest(const QByteArray &line)
{
    const QJsonObject request = QJsonDocument::fromJson(line).object();
    const auto kind = kindNamed(request.value(QStringLiteral("command")).toString());
    if (!kind || *kind == Kind::help || *kind == Kind::version)
        return std::nullopt;
    ShellCommand command;
    command.kind = *kind;
    if (command.kind == Kind::paste) {
        const QJsonValue index = request.value(QStringLiteral("index"));
        if (!index.isDouble() || index.toDouble() != index.toInt() || index.toInt() < 1)
            return std::nullopt;
        command.index = index.toInt();
    }
    if (command.kind == Kind::openURL) {
        command.url = QUrl(request.value(QStringLiteral("url")).toString(), QUrl::StrictMode);
        if (!isStashwellURL(command.url))
            return std::nullopt;
    }
    if (command.kind == Kind::config) {
        const QJsonValue key = request.value(QStringLiteral("key"));
        command.key = key.toString();
        command.value = request.value(QStringLiteral("value"));
        command.confirmed = request.value(QStringLiteral("yes")).toBool();
        // The key, when given, is a string; a value needs its key.
        if (!(key.isUndefined() || key.isString()) || (command.key.isEmpty() && !command.value.isUndefined()))
            return std::nullopt;
    }
    return command;
}

namespace CommandLine {

QStringList arguments(int argc, char **argv)
{
    static const QStringList withValue{"-platform", "-platformpluginpath", "-platformtheme", "-plugin", "-qmljsdebugger",
                                       "-qwindowgeometry", "-geometry", "-qwindowicon", "-qwindowtitle", "-title",
                                       "-display", "-style", "-stylesheet", "-session", "-name"};
    static const QStringList flags{"-reverse", "-widgetcount", "-nograb", "-dograb", "-sync"};
    QStringList result;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        QString option = argument.startsWith(QLatin1String("--")) ? argument.mid(1) : argument;
        option = option.section(QLatin1Char('='), 0, 0);
        if (withValue.contains(option)) {
            if (!argument.contains(QLatin1Char('=')))
                ++i;
        } else if (!flags.contains(option)) {
            result << argument;
        }
    }
    return result;
}

Parsed parse(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return {ShellCommand{}, {}};
    const QString first = arguments.first();
    const QStringList rest = arguments.mid(1);
    auto fail = [](const QString &why) { return Parsed{std::nullopt, why}; };

    if (first == QLatin1String("-h") || first == QLatin1String("--help") || first == QLatin1String("help"))
        return {ShellCommand{ShellCommand::Kind::help, 0, {}}, {}};
    if (first == QLatin1String("-v") || first == QLatin1String("--version") || first == QLatin1String("version"))
        return {ShellCommand{ShellCommand::Kind::version, 0, {}}, {}};

    // A URL handed over by the desktop (Exec=stashwell %u).
    if (first.contains(QLatin1Char(':'))) {
        const QUrl url(first, QUrl::StrictMode);
        if (!isStashwellURL(url))
            return fail(QStringLiteral("not a stashwell:// URL: %1").arg(first));
        if (!rest.isEmpty())
            return fail(QStringLiteral("unexpected argument after the URL: %1").arg(rest.first()));
        return {ShellCommand{ShellCommand::Kind::openURL, 0, url}, {}};
    }

    const auto kind = kindNamed(first);
    if (!kind || *kind == ShellCommand::Kind::openURL || *kind == ShellCommand::Kind::launch)
        return fail(QStringLiteral("unknown command: %1").arg(first));
    if (*kind == ShellCommand::Kind::paste) {
        if (rest.size() != 1)
            return fail(QStringLiteral("paste needs one number, the entry's position in `stashwell list`"));
        const auto n = positiveNumber(rest.first());
        if (!n)
            return fail(QStringLiteral("not a position (1, 2, ...): %1").arg(rest.first()));
        return {ShellCommand{ShellCommand::Kind::paste, *n, {}}, {}};
    }
    if (*kind == ShellCommand::Kind::config) {
        QStringList words = rest;
        ShellCommand config;
        config.kind = ShellCommand::Kind::config;
        config.confirmed = words.removeAll(QStringLiteral("--yes")) > 0;
        if (words.size() > 2)
            return fail(QStringLiteral("config takes at most a key and a value"));
        if (config.confirmed && words.size() != 2)
            return fail(QStringLiteral("--yes goes with config KEY VALUE"));
        config.key = words.value(0);
        if (words.size() == 2)
            config.value = configValue(words[1]);
        return {config, {}};
    }
    if (!rest.isEmpty())
        return fail(QStringLiteral("%1 takes no arguments").arg(first));
    return {ShellCommand{*kind, 0, {}}, {}};
}

QString usage()
{
    return QStringLiteral(
        "Usage: stashwell [COMMAND]\n"
        "Without a command, starts Stashwell (or opens the clipboard history when it runs).\n"
        "\n"
        "Commands, handed to the running Stashwell:\n"
        "  toggle      open the clipboard history, or close it when it is open\n"
        "  show        open the clipboard history\n"
        "  pause       pause clipboard monitoring\n"
        "  resume      resume clipboard monitoring\n"
        "  list        print the history, newest first: position, a tab, the title\n"
        "  paste N     paste the entry at position N of `stashwell list`\n"
        "  quit        quit Stashwell\n"
        "  config      print every setting: key, a tab, its value as JSON\n"
        "  config KEY  print the value of one setting\n"
        "  config KEY VALUE [--yes]  set a setting; VALUE is JSON (true, 500, '[\"org.example.App\"]',\n"
        "              null) or a bare word taken as a string. A wrong key or type, or a value the\n"
        "              settings window does not offer (historyLimit 100 to 50000, historyRetentionDays\n"
        "              0 to 90): exit status 2. A historyLimit below the number of entries deletes the\n"
        "              oldest at once: without --yes it only says how many, changes nothing and\n"
        "              exits with status 1\n"
        "  sign-in     sign in to the web service in the browser (prints the page's address)\n"
        "  sign-out    sign out of the web service\n"
        "  stashwell://...  hand a sign-in callback URL to Stashwell\n"
        "\n"
        "toggle, show, pause, resume, sign-in, sign-out and URLs start Stashwell when it is\n"
        "not running; list, paste and quit then fail with exit status 1, and config reads and\n"
        "writes the preferences file itself.\n"
        "  -h, --help     this text\n"
        "  -v, --version  the version\n"
        "\n"
        "On Wayland no program can take a key for itself. Where the desktop's portal offers global\n"
        "shortcuts (KDE Plasma), Stashwell asks it for its hot key; elsewhere bind a key of the\n"
        "desktop to `stashwell toggle`, which opens the history as quickly:\n"
        "  sway:        bindsym $mod+Shift+v exec stashwell toggle   (in ~/.config/sway/config)\n"
        "  KDE Plasma:  System Settings > Keyboard > Shortcuts > Add New > Command or Script\n");
}

QString errorText(const QString &reason)
{
    return QStringLiteral("stashwell: %1\nTry `stashwell --help` for the commands.\n").arg(reason);
}

QJsonValue configValue(const QString &text)
{
    // QJsonDocument reads only arrays and objects: the value is read as a one-element array.
    QJsonParseError error;
    const QJsonArray wrapped = QJsonDocument::fromJson('[' + text.toUtf8() + ']', &error).array();
    return error.error == QJsonParseError::NoError && wrapped.size() == 1 ? wrapped.first() : QJsonValue(text);
}

QString printable(QString text)
{
    // Whole sequences first (CSI; OSC, DCS and the other strings up to BEL, ST or the end of the
    // line; two-byte escapes), then any control character left: C0 but tab and newline, DEL, C1.
    static const QRegularExpression unprintable(QStringLiteral(
        R"((?:\x1b\[|\x{9b})[0-?]*[ -/]*[@-~])"
        R"(|(?:\x1b[\]PX^_]|[\x{90}\x{98}\x{9d}-\x{9f}])[^\x07\n]*?(?:\x07|\x1b\\|\x{9c}|(?=\n)|$))"
        R"(|\x1b[ -/]*[0-~])"
        R"(|[\x00-\x08\x0b-\x1f\x7f-\x{9f}])"));
    return text.remove(unprintable);
}

} // namespace CommandLine
