// SPDX-License-Identifier: GPL-3.0-or-later
#include "paste/HUDToast.h"

#include "paste/ToastWindow.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>

HUDToast::HUDToast(ToastScheduler &scheduler, QObject *parent)
    : QObject(parent)
    , m_scheduler(scheduler)
{
}

HUDToast::~HUDToast()
{
    if (m_hideJob)
        m_scheduler.cancel(*m_hideJob);
    if (QCoreApplication::instance()) // the shared instance outlives the application
        delete m_current;
}

QWidget *HUDToast::currentWindow() const
{
    return m_current;
}

void HUDToast::show(const QString &text)
{
    if (m_hideJob) {
        m_scheduler.cancel(*m_hideJob);
        m_hideJob.reset();
    }
    if (m_current) {
        m_current->hide(); // at once, without fading
        m_current->deleteLater();
    }

    auto *window = new ToastWindow(text);
    QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        screen = QGuiApplication::screens().value(0);
    if (screen) {
        const QRect area = screen->availableGeometry();
        window->move(area.x() + area.width() / 2 - window->width() / 2,
                     area.y() + area.height() - bottomOffset - window->height());
    }
    window->setWindowOpacity(0);
    window->show();
    m_scheduler.fade(window, 1, fadeInMs, {});
    m_current = window;
    m_hideJob = m_scheduler.schedule(visibleMs, [this] { hide(); });
}

void HUDToast::hide()
{
    m_hideJob.reset();
    if (!m_current)
        return;
    const QPointer<ToastWindow> window = m_current;
    m_scheduler.fade(window, 0, fadeOutMs, [this, window] {
        if (!window)
            return;
        window->hide();
        if (m_current == window) // a newer notice is never forgotten
            m_current = nullptr;
        window->deleteLater();
    });
}
