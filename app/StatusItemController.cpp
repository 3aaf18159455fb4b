// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StatusItemController.h"

#include "app/AboutPanel.h"
#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "common/Graphemes.h"
#include "common/SingleLine.h"
#include "l10n/L10n.h"
#include "palette/PaletteController.h"
#include "platform/GlobalHotKey.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QPainter>

namespace {

// A menu title: one line, and "&" is not a mnemonic marker.
QString menuTitle(const QString &text)
{
    return singleLine(text).replace(QLatin1Char('&'), QStringLiteral("&&"));
}

QIcon thumbnailIcon(const QImage &thumbnail)
{
    QIcon icon;
    for (int side : {16, 32}) {
        QPixmap square(side, side);
        square.fill(Qt::transparent);
        const QImage scaled = thumbnail.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        QPainter(&square).drawImage((side - scaled.width()) / 2, (side - scaled.height()) / 2, scaled);
        icon.addPixmap(square);
    }
    return icon;
}

} // namespace

StatusItemController::StatusItemController(HistoryStore &store, AppSettings &settings, L10n &l10n,
                                           PaletteController &palette, ClearHistoryDialog::Ask askClear,
                                           QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_settings(settings)
    , m_l10n(l10n)
    , m_palette(palette)
    , m_clearDialog(store, l10n, std::move(askClear))
    , m_statusItem(new QSystemTrayIcon(this))
{
    onShowAbout = [this] { AboutPanel::show(m_l10n); };
    onQuit = [] { QCoreApplication::quit(); };
    connect(m_statusItem, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        clicked(reason, QGuiApplication::queryKeyboardModifiers());
    });
    // Pausing from the privacy settings or `stashwell pause` redraws the icon at once.
    connect(&m_settings, &AppSettings::changed, this, [this](const QString &key) {
        if (key == QLatin1String("monitoringPaused"))
            QMetaObject::invokeMethod(this, &StatusItemController::refreshIcon, Qt::QueuedConnection);
    });
    // The tooltip says so while the history cannot be saved.
    connect(&m_store, &HistoryStore::writeFailingChanged, this, &StatusItemController::refreshIcon);
    qApp->installEventFilter(this);
    refreshIcon();
    m_statusItem->show();
    // Qt docks the icon when a tray comes up; until then a cheap check tells the owner.
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        connect(&m_trayPoll, &QTimer::timeout, this, [this] {
            if (!QSystemTrayIcon::isSystemTrayAvailable())
                return;
            m_trayPoll.stop();
            if (onTrayAppeared)
                onTrayAppeared();
        });
        m_trayPoll.start(trayPollMs);
    }
}

void StatusItemController::refreshIcon()
{
    m_iconState = m_settings.monitoringPaused() ? MenuBarIcon::State::paused : MenuBarIcon::State::active;
    m_statusItem->setIcon(MenuBarIcon::icon(m_iconState));
    QString toolTip = QStringLiteral("Stashwell");
    if (m_store.writeFailing())
        toolTip += QLatin1Char('\n') + m_l10n.string(QStringLiteral("hist.saveFailed"));
    m_statusItem->setToolTip(toolTip);
}

bool StatusItemController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
        refreshIcon();
    return QObject::eventFilter(watched, event);
}

void StatusItemController::clicked(QSystemTrayIcon::ActivationReason reason, Qt::KeyboardModifiers modifiers)
{
    const bool plainClick = reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick;
    if (plainClick && !(modifiers & Qt::MetaModifier))
        m_palette.toggle(QStringLiteral("icon"));
    else if (reason != QSystemTrayIcon::MiddleClick)
        openMenu();
}

void StatusItemController::openMenu()
{
    if (m_menu)
        return;
    m_menu = buildMenu();
    connect(m_menu, &QMenu::aboutToHide, this, &StatusItemController::menuDidClose);
    const QRect icon = m_statusItem->geometry(); // empty on StatusNotifierItem hosts
    m_menu->popup(icon.isValid() && !icon.isEmpty() ? icon.bottomLeft() : QCursor::pos());
}

void StatusItemController::menuDidClose()
{
    if (m_menu)
        m_menu->deleteLater(); // an action chosen from it is already queued
    m_menu = nullptr;
}

QAction *StatusItemController::addItem(QMenu *menu, const QString &key, const QString &keyEquivalent,
                                       std::function<void()> action)
{
    QString text = m_l10n.string(key);
    if (!keyEquivalent.isEmpty())
        text += QLatin1Char('\t') + keyEquivalent; // shown at the right, like a shortcut
    QAction *item = menu->addAction(text);
    item->setObjectName(key);
    // Queued: the menu is closed (and gone) before a dialog or the palette opens.
    connect(item, &QAction::triggered, this, std::move(action), Qt::QueuedConnection);
    return item;
}

QMenu *StatusItemController::buildMenu()
{
    auto *menu = new QMenu;
    menu->setAttribute(Qt::WA_DeleteOnClose, false);
    addItem(menu, QStringLiteral("menu.open"), GlobalHotKey::displayText(m_settings.hotKeyCombination()),
            [this] { m_palette.show(QStringLiteral("menu")); });
    addRecentEntries(menu);
    menu->addSeparator();
    const bool paused = m_settings.monitoringPaused();
    QAction *pause = addItem(menu, paused ? QStringLiteral("menu.resume") : QStringLiteral("menu.pause"), {},
                             [this] { togglePause(); });
    pause->setCheckable(paused); // a check mark only when paused, no empty box otherwise
    pause->setChecked(paused);
    addItem(menu, QStringLiteral("menu.clearAll"), {}, [this] { m_clearDialog.present(); });
    menu->addSeparator();
    addItem(menu, QStringLiteral("menu.settings"), QStringLiteral("Ctrl+,"), [this] {
        if (onShowSettings)
            onShowSettings();
    });
    addItem(menu, QStringLiteral("menu.guide"), {}, [this] {
        if (onShowOnboarding)
            onShowOnboarding();
    });
    if (onCheckForUpdates)
        addItem(menu, QStringLiteral("menu.check_updates"), {}, [this] {
            if (onCheckForUpdates)
                onCheckForUpdates();
        });
    addItem(menu, QStringLiteral("menu.about"), {}, [this] {
        if (onShowAbout)
            onShowAbout();
    });
    menu->addSeparator();
    addItem(menu, QStringLiteral("menu.quit"), QStringLiteral("Ctrl+Q"), [this] {
        if (onQuit)
            onQuit();
    });
    refreshIcon();
    return menu;
}

void StatusItemController::addRecentEntries(QMenu *menu)
{
    const QList<ClipItem> items = m_store.items().mid(0, recentCount); // stored order, pins not lifted
    if (items.isEmpty())
        return;
    menu->addSeparator();
    for (const ClipItem &entry : items) {
        const QString id = entry.id.toString(QUuid::WithoutBraces);
        QAction *item = menu->addAction(menuTitle(Graphemes::left(entry.displayTitle(), titleLength)));
        item->setData(id);
        if (entry.kind == ClipKind::image && entry.hasImage) {
            const QImage thumbnail = m_store.thumbnail(entry);
            if (!thumbnail.isNull())
                item->setIcon(thumbnailIcon(thumbnail));
        }
        connect(item, &QAction::triggered, this, [this, id] { pasteRecent(id); }, Qt::QueuedConnection);
    }
}

void StatusItemController::pasteRecent(const QString &id)
{
    const QUuid uuid(id);
    for (const ClipItem &entry : m_store.items()) {
        if (entry.id == uuid) {
            m_palette.confirm(entry, false, false);
            return;
        }
    }
}

void StatusItemController::togglePause()
{
    m_settings.setMonitoringPaused(!m_settings.monitoringPaused());
    refreshIcon();
}
