#pragma once
// Part 2.4: the tray icon. It shows whether recording is paused.
#include <QObject>

class AppSettings;
class QSystemTrayIcon;

class StatusItemController : public QObject {
    Q_OBJECT
public:
    StatusItemController(AppSettings &settings, QObject *parent = nullptr);

private:
    void updateIcon();

    AppSettings &m_settings;
    QSystemTrayIcon *m_tray;
};
