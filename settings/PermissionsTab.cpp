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
    m_badge = new PermissionStatusBadge(true, string("perm.granted"));
    m_badge->setObjectName(QStringLiteral("grantedBadge"));
    m_grantButton = new MSPillButton(string("common.grant"), true, [this] { m_services.accessibility.press(); });
    m_grantButton->setObjectName(QStringLiteral("grantButton"));
    layout->addWidget(m_badge);
    layout->addWidget(m_grantButton);
    addCard()->addRow(new SettingsRow(string("perm.ax"), string("perm.axWhy"), control));
    addFooter(string("gen.axNote"));
    refresh();
}

void PermissionsTab::refresh()
{
    const bool granted = m_services.accessibility.isTrusted();
    m_badge->setVisible(granted);
    m_grantButton->setVisible(!granted);
}

void PermissionsTab::showEvent(QShowEvent *)
{
    refresh();
    m_timer->start(pollIntervalMs, [this] { refresh(); });
}

void PermissionsTab::hideEvent(QHideEvent *) { m_timer->stop(); }
