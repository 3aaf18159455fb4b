// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The content of one tab: cards and footers stacked from the top. Each tab builds its texts
// in the current language (the window rebuilds the tab when the language changes) and keeps
// its controls in step with the settings store.
#include "settings/SettingsServices.h"
#include "settings/SettingsWidgets.h"

#include <QWidget>

class AppSettings;
class PillSwitch;
class QVBoxLayout;

class SettingsTabPage : public QWidget {
    Q_OBJECT
public:
    explicit SettingsTabPage(SettingsServices &services, QWidget *parent = nullptr);

protected:
    QString string(const char *key) const; // the catalogue text of `key`
    SettingsCard *addCard();
    FooterNote *addFooter(const QString &text, const QColor &tint = {});
    // Inserts `widget` into the page's column before the trailing stretch.
    void addToColumn(QWidget *widget);
    // A switch bound to a bool setting: it writes the setting and follows its changes.
    PillSwitch *settingSwitch(const char *key, bool (AppSettings::*get)() const, void (AppSettings::*set)(bool));
    // Runs `refresh` whenever the setting named `key` changes.
    void onSettingChanged(const char *key, std::function<void()> refresh);

    SettingsServices &m_services;

private:
    QVBoxLayout *m_column;
};
