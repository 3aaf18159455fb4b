// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppSettings.h"
#include "capture/SecurityPolicy.h"
#include "common/Symbols.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "platform/DesktopEntries.h"
#include "settings/SettingsTabs.h"

#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
constexpr int appIconSize = 28;
}

PrivacyTab::PrivacyTab(SettingsServices &services, QWidget *parent)
    : SettingsTabPage(services, parent)
{
    AppSettings &settings = services.settings;

    addCard()->addRow(new SettingsRow(string("priv.pause"), string("priv.pauseSub"),
                                      settingSwitch("monitoringPaused", &AppSettings::monitoringPaused,
                                                    &AppSettings::setMonitoringPaused)));

    SettingsCard *protections = addCard();
    protections->addRow(new SettingsRow(string("priv.concealed"), string("priv.concealedSub"),
                                        new StatusBadge(QStringLiteral("checkmark.seal.fill"),
                                                        string("priv.concealedBadge"), QColor(0x1E, 0x9E, 0x4A))));
    auto *builtIn = new SettingsRow(string("priv.builtIn"), string("priv.builtInSub"),
                                    settingSwitch("builtInExclusionsEnabled", &AppSettings::builtInExclusionsEnabled,
                                                  &AppSettings::setBuiltInExclusionsEnabled));
    auto *disclosure = new QToolButton;
    disclosure->setObjectName(QStringLiteral("builtInShow"));
    disclosure->setText(string("priv.builtInShow"));
    disclosure->setCheckable(true);
    disclosure->setAutoRaise(true);
    disclosure->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    disclosure->setCursor(Qt::PointingHandCursor);
    const QColor accent = PillTheme::accent(palette());
    disclosure->setIcon(Symbols::icon(QStringLiteral("chevron.right"), accent, 10));
    disclosure->setIconSize(QSize(10, 10));
    QPalette linkPalette = disclosure->palette();
    linkPalette.setColor(QPalette::ButtonText, accent);
    disclosure->setPalette(linkPalette);
    disclosure->setStyleSheet(QStringLiteral("QToolButton { border: none; padding: 2px 0; }"));
    builtIn->addBelow(disclosure, Qt::AlignLeft);
    m_builtInList = SettingsText::secondary(builtInListText(), 0.88);
    m_builtInList->setObjectName(QStringLiteral("builtInList"));
    m_builtInList->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_builtInList->hide();
    builtIn->addBelow(m_builtInList);
    connect(disclosure, &QToolButton::toggled, this, [this, disclosure, accent](bool shown) {
        m_builtInList->setVisible(shown);
        disclosure->setIcon(Symbols::icon(shown ? QStringLiteral("chevron.down") : QStringLiteral("chevron.right"),
                                          accent, 10));
    });
    protections->addRow(builtIn);
    m_builtInWarning = addFooter(string("priv.builtInWarn"), PillTheme::warning());
    m_builtInWarning->setObjectName(QStringLiteral("builtInWarning"));
    m_builtInWarning->setVisible(!settings.builtInExclusionsEnabled());
    onSettingChanged("builtInExclusionsEnabled",
                     [this, &settings] { m_builtInWarning->setVisible(!settings.builtInExclusionsEnabled()); });

    SettingsCard *excluded = addCard();
    auto *add = new MSPillButton(string("priv.addApp"), false, [this] { addApps(); });
    add->setObjectName(QStringLiteral("addApp"));
    excluded->addRow(new SettingsRow(string("priv.userTitle"), string("priv.userSub"), add, QFont::DemiBold));
    m_excludedList = new QWidget;
    auto *listLayout = new QVBoxLayout(m_excludedList);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listLayout->setSpacing(0);
    excluded->addRow(m_excludedList);
    rebuildExcludedList();
    onSettingChanged("excludedBundleIDs", [this] { rebuildExcludedList(); });

    addFooter(string("priv.footer"));
}

QString PrivacyTab::builtInListText() { return SecurityPolicy::builtInExclusions().join(QStringLiteral("  ·  ")); }

void PrivacyTab::addApps()
{
    if (!m_services.chooseApps)
        return;
    window()->activateWindow();
    QStringList ids = m_services.settings.excludedBundleIDs();
    const qsizetype before = ids.size();
    for (const QString &id : m_services.chooseApps(this))
        if (!id.isEmpty() && !ids.contains(id))
            ids.append(id);
    if (ids.size() != before)
        m_services.settings.setExcludedBundleIDs(ids);
}

void PrivacyTab::rebuildExcludedList()
{
    auto *layout = static_cast<QVBoxLayout *>(m_excludedList->layout());
    while (QLayoutItem *item = layout->takeAt(0)) {
        // Later: a remove button may be the one whose click led here.
        item->widget()->hide();
        item->widget()->deleteLater();
        delete item;
    }
    const QStringList ids = m_services.settings.excludedBundleIDs();
    // The card draws the divider above the list; the list draws those between its rows.
    if (ids.isEmpty()) {
        auto *empty = SettingsText::secondary(string("priv.empty"));
        empty->setObjectName(QStringLiteral("excludedEmpty"));
        empty->setContentsMargins(SettingsMetrics::rowHorizontal, SettingsMetrics::rowVertical,
                                  SettingsMetrics::rowHorizontal, SettingsMetrics::rowVertical);
        layout->addWidget(empty);
        return;
    }
    for (const QString &id : ids) {
        if (id != ids.first())
            layout->addWidget(new RowDivider);
        layout->addWidget(excludedRow(id));
    }
}

QWidget *PrivacyTab::excludedRow(const QString &bundleID)
{
    const DesktopEntry *entry = m_services.apps.byId(bundleID);
    const QString name = entry && !entry->name.isEmpty() ? entry->name : bundleID;

    auto *remove = new QToolButton;
    remove->setObjectName(QStringLiteral("removeExcluded"));
    remove->setAutoRaise(true);
    remove->setCursor(Qt::PointingHandCursor);
    remove->setIcon(Symbols::icon(QStringLiteral("xmark"), PillTheme::secondaryText(palette()), 12));
    remove->setIconSize(QSize(12, 12));
    remove->setAccessibleName(name);
    connect(remove, &QToolButton::clicked, this, [this, bundleID] {
        QStringList ids = m_services.settings.excludedBundleIDs();
        ids.removeAll(bundleID);
        m_services.settings.setExcludedBundleIDs(ids);
    });

    auto *row = new SettingsRow(name, {}, remove);
    row->setObjectName(QStringLiteral("excludedApp"));
    row->setProperty("bundleID", bundleID);
    auto *idLabel = SettingsText::secondary(bundleID, 0.85);
    idLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    row->addBelow(idLabel);
    auto *icon = new QLabel;
    icon->setFixedSize(appIconSize, appIconSize);
    const std::optional<QIcon> appIcon = m_services.icons.icon(bundleID);
    const QIcon shown = appIcon ? *appIcon : Symbols::icon(QStringLiteral("app.badge"), PillTheme::secondaryText(palette()), appIconSize);
    icon->setPixmap(shown.pixmap(QSize(appIconSize, appIconSize), devicePixelRatioF()));
    row->setLeading(icon);
    return row;
}
