// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/AccessibilityPermission.h"
#include "settings/SettingsTabs.h"

#include <QHBoxLayout>

PermissionsTab::PermissionsTab(SettingsServices &services, QWidget *parent)
    : SettingsTabPage(services, parent)
    , m_timer(services.timers())
{
    auto *control = new QWidget;
    auto *layout = new QHBoxLayout(control);
    layout->setContentsMargins(0, 0, 0, 0);
    // The state of the XTest extension. Only the X server's configuration changes it, so the
    // one action is to ask again.
    m_badge = new PermissionStatusBadge(true, string("perm.granted"));
    m_badge->setObjectName(QStringLiteral("grantedBadge"));
    m_missingBadge = new PermissionStatusBadge(false, string("perm.notGranted"));
    m_missingBadge->setObjectName(QStringLiteral("missingBadge"));
    m_recheckButton = new MSPillButton(string("perm.checkAgain"), true, [this] { refresh(); });
    m_recheckButton->setObjectName(QStringLiteral("recheckButton"));
    layout->addWidget(m_badge);
    layout->addWidget(m_missingBadge);
    m_row = new SettingsRow(string("perm.ax"), string("perm.axWhy"), control);
    m_row->addBelow(m_recheckButton, Qt::AlignLeft);
    addCard()->addRow(m_row);
    refresh();
    // Where the desktop keeps other applications' copies from Stashwell (GNOME on Wayland).
    if (services.captureLimited()) {
        auto *capture = new SettingsRow(string("perm.capture"), string("perm.captureMissing"),
                                        new PermissionStatusBadge(false, string("perm.notGranted")));
        capture->setObjectName(QStringLiteral("captureRow"));
        addCard()->addRow(capture);
    }
}

void PermissionsTab::refresh()
{
    const bool available = m_services.accessibility.isTrusted();
    m_badge->setVisible(available);
    m_missingBadge->setVisible(!available);
    m_recheckButton->setVisible(!available);
    m_row->setSubtitle(string(available ? "perm.axWhy" : "perm.axMissing"));
}

void PermissionsTab::showEvent(QShowEvent *)
{
    refresh();
    m_timer->start(pollIntervalMs, [this] { refresh(); });
}

void PermissionsTab::hideEvent(QHideEvent *) { m_timer->stop(); }
