// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The selected settings tab, kept for the process (never persisted), so the
// window reopens on the tab it was closed on.
#include "settings/SettingsTab.h"

#include <QObject>

class SettingsRouter : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    static SettingsRouter &shared();

    SettingsTab selectedTab() const { return m_selectedTab; }
    void setSelectedTab(SettingsTab tab);

signals:
    void selectedTabChanged(SettingsTab tab);

private:
    SettingsTab m_selectedTab = SettingsTab::general;
};
