// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The one settings window, built on the first show(),
// dropped when closed (the next show builds a fresh one; the router keeps the tab).
#include "common/ClosingWindow.h"
#include "settings/SettingsServices.h"
#include "settings/SettingsTab.h"
#include "settings/SettingsView.h"

#include <QObject>
#include <QPointer>
#include <optional>

class SettingsRouter;

class SettingsWindowController : public QObject {
    Q_OBJECT
public:
    static constexpr QSize contentSize{760, 520}; // or the screen's usable area, if smaller

    SettingsWindowController(SettingsServices services, SettingsRouter &router, QObject *parent = nullptr);
    static SettingsWindowController &shared();

    // Selects `tab` when given, builds the window if needed and brings it to the front.
    void show(std::optional<SettingsTab> tab = std::nullopt);
    // Present from the first show until the window is closed.
    QWidget *window() const { return m_window; }
    SettingsView *view() const { return m_view; }
    SettingsServices &services() { return m_services; }

private:
    void createWindow();
    void windowWillClose();

    SettingsServices m_services;
    SettingsRouter &m_router;
    QPointer<ClosingWindow> m_window;
    QPointer<SettingsView> m_view;
};
