// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/AccessibilityPermission.h"

#include "l10n/L10n.h"
#include "platform/KeyPoster.h"

#include <QMessageBox>
#include <QProcess>
#include <QStandardPaths>

AccessibilityGrant::AccessibilityGrant(AccessibilityPermission &permission)
    : m_permission(permission)
{
}

void AccessibilityGrant::press()
{
    if (!m_prompted) {
        m_prompted = true;
        m_permission.prompt();
    } else {
        m_permission.openSystemSettings();
    }
}

DesktopAccessibilityPermission::DesktopAccessibilityPermission(KeyPoster &keys, L10n &l10n, Launch launch)
    : m_keys(keys)
    , m_l10n(l10n)
    , m_launch(std::move(launch))
{
}

bool DesktopAccessibilityPermission::isTrusted() const { return m_keys.isTrusted(); }

void DesktopAccessibilityPermission::prompt()
{
    auto *box = new QMessageBox(QMessageBox::Information, m_l10n.string(QStringLiteral("perm.ax")),
                                m_l10n.string(QStringLiteral("gen.axNote")));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowFlag(Qt::WindowStaysOnTopHint);
    box->setStandardButtons(QMessageBox::NoButton);
    box->addButton(m_l10n.string(QStringLiteral("common.ok")), QMessageBox::AcceptRole);
    box->show();
    box->raise();
    box->activateWindow();
}

void DesktopAccessibilityPermission::openSystemSettings()
{
    for (const auto &[program, args] : settingsPrograms())
        if (!QStandardPaths::findExecutable(program).isEmpty() && m_launch(program, args))
            return;
}

const QList<std::pair<QString, QStringList>> &DesktopAccessibilityPermission::settingsPrograms()
{
    static const QList<std::pair<QString, QStringList>> programs{
        {QStringLiteral("gnome-control-center"), {QStringLiteral("universal-access")}},
        {QStringLiteral("systemsettings"), {QStringLiteral("kcm_access")}},
        {QStringLiteral("xfce4-accessibility-settings"), {}},
        {QStringLiteral("mate-at-properties"), {}},
    };
    return programs;
}

bool DesktopAccessibilityPermission::startDetached(const QString &program, const QStringList &args)
{
    return QProcess::startDetached(program, args);
}
