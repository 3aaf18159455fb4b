// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsTabPage.h"

#include "app/AppSettings.h"
#include "l10n/L10n.h"
#include "settings/PillControls.h"

#include <QSignalBlocker>
#include <QVBoxLayout>

SettingsTabPage::SettingsTabPage(SettingsServices &services, QWidget *parent)
    : QWidget(parent)
    , m_services(services)
    , m_column(new QVBoxLayout(this))
{
    m_column->setContentsMargins(0, 0, 0, 0);
    m_column->setSpacing(SettingsMetrics::cardSpacing);
    m_column->addStretch(1);
}

QString SettingsTabPage::string(const char *key) const { return m_services.l10n.string(QString::fromLatin1(key)); }

void SettingsTabPage::addToColumn(QWidget *widget) { m_column->insertWidget(m_column->count() - 1, widget); }

SettingsCard *SettingsTabPage::addCard()
{
    auto *card = new SettingsCard(this);
    addToColumn(card);
    return card;
}

FooterNote *SettingsTabPage::addFooter(const QString &text, const QColor &tint)
{
    auto *note = new FooterNote(text, tint, this);
    addToColumn(note);
    return note;
}

void SettingsTabPage::onSettingChanged(const char *key, std::function<void()> refresh)
{
    const QString name = QString::fromLatin1(key);
    // The property already holds the new value when AppSettings publishes it.
    connect(&m_services.settings, &AppSettings::changed, this,
            [name, refresh = std::move(refresh)](const QString &changed) {
                if (changed == name)
                    refresh();
            });
}

PillSwitch *SettingsTabPage::settingSwitch(const char *key, bool (AppSettings::*get)() const,
                                           void (AppSettings::*set)(bool))
{
    AppSettings &settings = m_services.settings;
    auto *toggle = new PillSwitch((settings.*get)(), this);
    toggle->setObjectName(QString::fromLatin1(key));
    connect(toggle, &QAbstractButton::toggled, this, [&settings, set](bool on) { (settings.*set)(on); });
    onSettingChanged(key, [toggle, &settings, get] {
        const QSignalBlocker block(toggle);
        toggle->setChecked((settings.*get)());
    });
    return toggle;
}
