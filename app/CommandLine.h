// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The `stashwell` command line: what a launch asks for, and the one-line request form in
// which a second process hands it to the running instance (SingleInstance).
#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>

struct ShellCommand {
    enum class Kind {
        launch, toggle, show, pause, resume, list, paste, quit, openURL, config, signIn, signOut, help, version,
        shownWidgets // `stashwell test-widgets`, in test-hook builds only: what the windows show
    };

    Kind kind = Kind::launch;
    int index = 0; // paste: 1-based position in the history
    QUrl url{};    // openURL: a stashwell:// URL
    QString key{}; // config: a settings key; empty for all of them
    QJsonValue value{QJsonValue::Undefined}; // config: the value to set; undefined to print
    bool confirmed = false; // config: --yes, the value may delete history entries

    // list, paste, quit and config do not start an instance; without one, config works on the
    // preferences file itself (SingleInstance::claim) and the others fail.
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
// What a wrong command line prints: the reason and where the usage is.
QString errorText(const QString &reason);

// A VALUE of `stashwell config KEY VALUE`: JSON (true, 12, "text", ["a", "b"], null) when it
// is one JSON value, else the text itself as a string (a bare word: de).
QJsonValue configValue(const QString &text);

// Text from the running instance (or whoever answers on its socket) or from the history, as
// the terminal may show it: without escape sequences and control characters, so that a title
// or a forged reply cannot move the cursor, retitle the window or rewrite what was printed.
// Tabs and line breaks stay.
QString printable(QString text);

} // namespace CommandLine
