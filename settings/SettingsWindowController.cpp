// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsWindowController.h"

#include "l10n/L10n.h"
#include "settings/SettingsRouter.h"
#include "settings/SettingsView.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

SettingsWindowController::SettingsWindowController(SettingsServices services, SettingsRouter &router, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
    , m_router(router)
{
}

void SettingsWindowController::show(std::optional<SettingsTab> tab)
{
    if (tab)
        m_router.setSelectedTab(*tab);
    if (!m_window)
        createWindow();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void SettingsWindowController::createWindow()
{
    m_window = new ClosingWindow;
    m_window->setObjectName(QStringLiteral("settingsWindow"));
    m_window->setAttribute(Qt::WA_DeleteOnClose);
    m_window->setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                             Qt::WindowMinimizeButtonHint);
    m_window->setWindowIcon(QIcon(QStringLiteral(":/com.norvane.Stashwell.svg")));
    m_window->setWindowTitle(m_services.l10n.string(QStringLiteral("settings.title")));
    auto *layout = new QVBoxLayout(m_window);
    layout->setContentsMargins(0, 0, 0, 0);
    m_view = new SettingsView(m_services, m_router, m_window);
    layout->addWidget(m_view);
    // A fixed size, as the guide has: the tabs scroll. Window managers that give resizable
    // windows a handle along the bottom edge (openbox) give this one none.
    QRect frame(QPoint(), contentSize);
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        frame.setSize(contentSize.boundedTo(screen->availableGeometry().size()));
        frame.moveCenter(screen->availableGeometry().center());
    }
    m_window->setFixedSize(frame.size());
    m_window->move(frame.topLeft());
    connect(m_window, &ClosingWindow::closing, this, &SettingsWindowController::windowWillClose);
}

void SettingsWindowController::windowWillClose()
{
    // The window deletes itself (and its views and timers) once the event loop runs again.
    m_window = nullptr;
    m_view = nullptr;
}
