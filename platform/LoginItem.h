#pragma once
#include <QString>

// Starting at login, through an XDG autostart entry.
class LoginItem {
public:
    virtual ~LoginItem() = default;
    // Returns an empty string on success, else the error's description.
    virtual QString registerItem() = 0;
    virtual QString unregisterItem() = 0;
};

// $XDG_CONFIG_HOME/autostart/com.norvane.Stashwell.desktop
class XdgAutostart final : public LoginItem {
public:
    XdgAutostart(const QString &entryPath, const QString &executable);
    static XdgAutostart &shared();
    QString registerItem() override;
    QString unregisterItem() override;

private:
    QString m_entryPath;
    QString m_executable;
};
