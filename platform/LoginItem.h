// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>
#include <optional>

// Starting at login, through an XDG autostart entry.
class LoginItem {
public:
    virtual ~LoginItem() = default;
    // False when this copy cannot start at login: it runs from a build tree, not installed.
    virtual bool available() const { return true; }
    // Returns an empty string on success, else the error's description.
    virtual QString registerItem() = 0;
    virtual QString unregisterItem() = 0;
};

// $XDG_CONFIG_HOME/autostart/com.norvane.Stashwell.desktop
class XdgAutostart final : public LoginItem {
public:
    // `command`: what the entry runs (see commandFor); nullopt makes the item unavailable.
    XdgAutostart(const QString &entryPath, const std::optional<QString> &command);
    static XdgAutostart &shared();
    // The entry's command for the running `binary`: "stashwell" when it is the `stashwell` found on
    // PATH (`onPath`, empty when none), else its absolute path; nullopt for a binary that is not
    // installed: one outside a bin directory, or in a build tree (a CMakeCache.txt beside or above it).
    static std::optional<QString> commandFor(const QString &binary, const QString &onPath);

    bool available() const override { return m_command.has_value(); }
    QString registerItem() override;
    QString unregisterItem() override;

private:
    QString m_entryPath;
    std::optional<QString> m_command;
};