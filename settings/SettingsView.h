// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The settings window's layout: the sidebar (application icon, heading, one row per tab) and the content
// pane (the selected tab's title, subtitle and scrolling content). Follows the router and the
// interface language live.
#include "settings/SettingsServices.h"
#include "settings/SettingsTab.h"
#include "settings/SettingsTabPage.h"

#include <QAbstractButton>
#include <QList>
#include <QPointer>
#include <QWidget>

class QLabel;
class QScrollArea;
class SettingsRouter;

// `TesterModeIcon`: the application icon at the top of the sidebar; reports every click.
class TesterModeIcon : public QAbstractButton {
    Q_OBJECT
public:
    explicit TesterModeIcon(int side, QWidget *parent = nullptr);
    QSize sizeHint() const override { return {m_side, m_side}; }

protected:
    void paintEvent(QPaintEvent *) override;

private:
    int m_side;
};

// `SidebarRow`: icon chip and title; highlighted while its tab is selected.
class SidebarRow : public QAbstractButton {
    Q_OBJECT
public:
    SidebarRow(SettingsTab tab, QWidget *parent = nullptr);
    SettingsTab tab() const { return m_tab; }
    void setSelected(bool selected);
    bool isSelected() const { return m_selected; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *) override;

private:
    SettingsTab m_tab;
    bool m_selected = false;
};

class SettingsView : public QWidget {
    Q_OBJECT
public:
    static constexpr int sidebarWidth = 220;
    SettingsView(SettingsServices &services, SettingsRouter &router, QWidget *parent = nullptr);

    SettingsTab shownTab() const { return m_shownTab; }
    SettingsTabPage *page() const { return m_page; }
    QList<SidebarRow *> sidebarRows() const { return m_rows; }
    TesterModeIcon *icon() const { return m_icon; }

private:
    QWidget *buildSidebar();
    QWidget *buildContentPane();
    void showTab(SettingsTab tab);
    void retranslate();

    SettingsServices &m_services;
    SettingsRouter &m_router;
    TesterModeIcon *m_icon = nullptr;
    QLabel *m_heading = nullptr;
    QList<SidebarRow *> m_rows;
    QLabel *m_title = nullptr;
    QLabel *m_subtitle = nullptr;
    QScrollArea *m_scroll = nullptr;
    QPointer<SettingsTabPage> m_page;
    SettingsTab m_shownTab = SettingsTab::general;
};

namespace SettingsTabPages {
SettingsTabPage *make(SettingsTab tab, SettingsServices &services, QWidget *parent = nullptr);
}
