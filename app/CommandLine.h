#pragma once
// The `stashwell` command line: what a launch asks for, and the one-line request form in
// which a second process hands it to the running instance (SingleInstance).
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>

struct ShellCommand {
    enum class Kind { launch, toggle, show, pause, resume, list, paste, quit, openURL, help, version };

    Kind kind = Kind::launch;
    int index = 0; // paste: 1-based position in the history
    QUrl url;      // openURL: a stashwell:// URL

    // list, paste and quit only make sense for an instance that already runs.
    bool needsRunningInstance() const;
    // Handled by the process itself, never forwarded (help, version).
    bool isLocal() const;

    // One JSON line without its newline; `fromRequest` reads it back (nullopt for anything else).
    QByteArray toRequest() const;
    static std::optional<ShellCommand> fromRequest(const QByteArray &line);

    bool operator==(const ShellCommand &) const = default;
};

namespace CommandLine {

inline constexpr const char *urlScheme = "stashwell";

struct Parsed {
    std::optional<ShellCommand> command; // nullopt: `error` says why
    QString error;
};

// The arguments after the program name, without Qt's own options (-platform xcb, -style
// fusion, -reverse, ...), read before the application object exists.
QStringList arguments(int argc, char **argv);

// `arguments` as arguments() gives them.
Parsed parse(const QStringList &arguments);

QString usage();

} // namespace CommandLine
