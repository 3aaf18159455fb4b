// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsRouter.h"

SettingsRouter &SettingsRouter::shared()
{
    static auto *router = new SettingsRouter; // lives for the process
    return *router;
}

void SettingsRouter::setSelectedTab(SettingsTab tab)
{
    if (tab == m_selectedTab)
        return;
    m_selectedTab = tab;
    emit selectedTabChanged(tab);
}
