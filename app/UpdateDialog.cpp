// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/UpdateDialog.h"

#include "app/UpdaterStrings.h"
#include "l10n/L10n.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTextDocument>
#include <QVBoxLayout>

using UpdaterStrings::Key;

namespace {

// Release notes are HTML from the network: shown as plain text, never rendered or fetched.
QString plainNotes(const QString &html)
{
    QTextDocument document;
    document.setHtml(html);
    return document.toPlainText().trimmed();
}

} // namespace

UpdateDialog::UpdateDialog(L10n &l10n, QWidget *parent)
    : QDialog(parent)
    , m_l10n(l10n)
    , m_heading(new QLabel)
    , m_message(new QLabel)
    , m_progress(new QProgressBar)
    , m_notes(new QPlainTextEdit)
    , m_buttonRow(new QWidget)
{
    openURL = [](const QUrl &url) { QDesktopServices::openUrl(url); };
    setWindowIcon(QIcon(QStringLiteral(":/com.norvane.Stashwell.svg")));
    setWindowFlag(Qt::WindowStaysOnTopHint); // the application has no window of its own in front
    QFont bold = m_heading->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    m_heading->setFont(bold);
    m_message->setWordWrap(true);
    m_progress->setRange(0, 0); // indeterminate
    m_notes->setReadOnly(true);
    m_notes->setMinimumHeight(160);
    auto *icon = new QLabel;
    icon->setPixmap(windowIcon().pixmap(64, 64));
    icon->setAlignment(Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->addWidget(m_heading);
    texts->addWidget(m_message);
    texts->addWidget(m_progress);
    texts->addWidget(m_notes, 1);
    texts->addWidget(m_buttonRow);
    auto *buttons = new QHBoxLayout(m_buttonRow);
    buttons->setContentsMargins(0, 8, 0, 0);
    buttons->addStretch();
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(icon);
    layout->addLayout(texts, 1);
    setMinimumWidth(460);
}

QString UpdateDialog::text(int key) const
{
    return UpdaterStrings::text(Key(key), m_l10n.language());
}

void UpdateDialog::resetButtons()
{
    for (QPushButton *button : m_buttonRow->findChildren<QPushButton *>(Qt::FindDirectChildrenOnly)) {
        button->hide();
        button->setParent(nullptr); // it may be the one whose click got us here
        button->deleteLater();
    }
}

QPushButton *UpdateDialog::addButton(const QString &label, std::function<void()> action)
{
    auto *button = new QPushButton(label, m_buttonRow);
    m_buttonRow->layout()->addWidget(button);
    connect(button, &QPushButton::clicked, this, std::move(action));
    return button;
}

void UpdateDialog::present()
{
    setWindowTitle(text(int(Key::windowTitle)));
    adjustSize();
    show();
    raise();
    activateWindow();
}

void UpdateDialog::showChecking(std::function<void()> cancel)
{
    m_cancel = std::move(cancel);
    m_reply = nullptr;
    resetButtons();
    m_heading->setText(text(int(Key::checking)));
    m_message->hide();
    m_notes->hide();
    m_progress->show();
    addButton(m_l10n.string(QStringLiteral("common.cancel")), [this] {
        if (auto cancel = std::exchange(m_cancel, nullptr))
            cancel();
        hide();
    });
    present();
}

void UpdateDialog::showUpToDate(const QString &currentVersion)
{
    m_cancel = nullptr;
    resetButtons();
    m_progress->hide();
    m_notes->hide();
    m_heading->setText(text(int(Key::upToDate)));
    m_message->setText(text(int(Key::upToDateBody)).arg(currentVersion));
    m_message->show();
    addButton(m_l10n.string(QStringLiteral("common.ok")), [this] { hide(); })->setDefault(true);
    present();
}

void UpdateDialog::showUpdateFound(const AppcastItem &item, const QString &currentVersion,
                                   std::function<void(Choice)> reply)
{
    m_cancel = nullptr;
    if (auto previous = std::exchange(m_reply, nullptr))
        previous(Choice::later); // an offer still open counts as "later"
    m_reply = std::move(reply);
    resetButtons();
    m_progress->hide();
    m_heading->setText(text(int(Key::available)));
    m_message->setText(text(int(Key::availableBody)).arg(item.displayVersion, currentVersion));
    m_message->show();
    const QString notes = plainNotes(item.descriptionHTML);
    m_notes->setPlainText(notes);
    m_notes->setVisible(!notes.isEmpty());
    if (item.releaseNotesURL.isValid()) {
        const QUrl link = item.releaseNotesURL;
        addButton(text(int(Key::releaseNotes)), [this, link] { openURL(link); });
    }
    addButton(text(int(Key::skip)), [this] { answer(Choice::skip); });
    addButton(text(int(Key::later)), [this] { answer(Choice::later); });
    addButton(text(int(Key::download)), [this] { answer(Choice::download); })->setDefault(true);
    present();
}

void UpdateDialog::showError()
{
    m_cancel = nullptr;
    resetButtons();
    m_progress->hide();
    m_notes->hide();
    m_heading->setText(text(int(Key::error)));
    m_message->setText(text(int(Key::errorBody)));
    m_message->show();
    addButton(m_l10n.string(QStringLiteral("common.ok")), [this] { hide(); })->setDefault(true);
    present();
}

void UpdateDialog::dismiss()
{
    m_cancel = nullptr;
    hide();
}

void UpdateDialog::answer(Choice choice)
{
    if (auto reply = std::exchange(m_reply, nullptr))
        reply(choice);
    hide();
}

void UpdateDialog::abandon()
{
    if (auto cancel = std::exchange(m_cancel, nullptr))
        cancel();
    if (auto reply = std::exchange(m_reply, nullptr))
        reply(Choice::later);
}

void UpdateDialog::reject()
{
    abandon(); // Escape
    QDialog::reject();
}

void UpdateDialog::closeEvent(QCloseEvent *event)
{
    abandon();
    QDialog::closeEvent(event);
}

QString UpdateDialog::heading() const
{
    return m_heading->text();
}

QString UpdateDialog::message() const
{
    return m_message->isVisibleTo(this) ? m_message->text() : QString();
}

QString UpdateDialog::notes() const
{
    return m_notes->isVisibleTo(this) ? m_notes->toPlainText() : QString();
}

QList<QPushButton *> UpdateDialog::visibleButtons() const
{
    return m_buttonRow->findChildren<QPushButton *>(Qt::FindDirectChildrenOnly);
}
