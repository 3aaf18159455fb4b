#include "app/StatusItemController.h"

#include "app/AppSettings.h"

#include <QIcon>
#include <QSystemTrayIcon>

StatusItemController::StatusItemController(AppSettings &settings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_tray(new QSystemTrayIcon(this))
{
    m_tray->setToolTip(QStringLiteral("Stashwell"));
    updateIcon();
    connect(&m_settings, &AppSettings::changed, this, [this](const QString &key) {
        if (key == QLatin1String("monitoringPaused"))
            updateIcon();
    });
    m_tray->show();
}

void StatusItemController::updateIcon()
{
    m_tray->setIcon(QIcon(m_settings.monitoringPaused() ? QStringLiteral(":/icons/clipboard.paused.svg")
                                                        : QStringLiteral(":/icons/clipboard.svg")));
}
