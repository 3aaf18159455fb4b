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
    // The state of the XTest extension, and while it is missing how to get it.
    m_badge = new PermissionStatusBadge(true, string("perm.granted"));
    m_badge->setObjectName(QStringLiteral("grantedBadge"));
    m_missingBadge = new PermissionStatusBadge(false, string("perm.notGranted"));
    m_missingBadge->setObjectName(QStringLiteral("missingBadge"));
    m_grantButton = new MSPillButton(string("common.grant"), true, [this] { m_services.accessibility.press(); });
    m_grantButton->setObjectName(QStringLiteral("grantButton"));
    layout->addWidget(m_badge);
    layout->addWidget(m_missingBadge);
    auto *row = new SettingsRow(string("perm.ax"), string("perm.axWhy"), control);
    row->addBelow(m_grantButton, Qt::AlignLeft);
    addCard()->addRow(row);
    addFooter(string("gen.axNote"));
    refresh();
}

void PermissionsTab::refresh()
{
    const bool granted = m_services.accessibility.isTrusted();
    m_badge->setVisible(granted);
    m_missingBadge->setVisible(!granted);
    m_grantButton->setVisible(!granted);
}

void PermissionsTab::showEvent(QShowEvent *)
{
    refresh();
    m_timer->start(pollIntervalMs, [this] { refresh(); });
}

void PermissionsTab::hideEvent(QHideEvent *) { m_timer->stop(); }
