// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The accessibility permission shown by the permissions tab and the guide: whether Stashwell
// may type the paste shortcut for the user. On X11 "trusted" means the XTest extension is
// present.
#include <QString>
#include <QStringList>
#include <functional>

class KeyPoster;
class L10n;

class AccessibilityPermission {
public:
    virtual ~AccessibilityPermission() = default;
    virtual bool isTrusted() const = 0;
    // Asks for the permission, or explains it where it cannot be asked for.
    virtual void prompt() = 0;
    // The accessibility pane of the system settings.
    virtual void openSystemSettings() = 0;
};

// The grant button of the permissions tab and of the guide: the first press in the process
// prompts, every later press opens the system settings. One instance per process, so both
// screens share the "first press".
class AccessibilityGrant {
public:
    explicit AccessibilityGrant(AccessibilityPermission &permission);
    static AccessibilityGrant &shared();

    bool isTrusted() const { return m_permission.isTrusted(); }
    void press();
    bool prompted() const { return m_prompted; }

private:
    AccessibilityPermission &m_permission;
    bool m_prompted = false;
};

// The Linux desktop: XTest cannot be granted by a dialog, so the "prompt" explains what the
// permission does (gen.axNote) and "system settings" is the desktop's accessibility module.
class DesktopAccessibilityPermission final : public AccessibilityPermission {
public:
    using Launch = std::function<bool(const QString &program, const QStringList &args)>;
    DesktopAccessibilityPermission(KeyPoster &keys, L10n &l10n, Launch launch = startDetached);

    bool isTrusted() const override;
    void prompt() override;
    void openSystemSettings() override;

    // GNOME, KDE Plasma, Xfce, MATE: the first installed one is started.
    static const QList<std::pair<QString, QStringList>> &settingsPrograms();
    static bool startDetached(const QString &program, const QStringList &args);

private:
    KeyPoster &m_keys;
    L10n &m_l10n;
    Launch m_launch;
};
