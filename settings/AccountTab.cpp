// SPDX-License-Identifier: GPL-3.0-or-later
#include "l10n/L10n.h"
#include "settings/SettingsAccount.h"
#include "settings/SettingsExtraStrings.h"
#include "settings/SettingsTabs.h"

#include <QVBoxLayout>

AccountTab::AccountTab(SettingsServices &services, QWidget *parent)
    : SettingsTabPage(services, parent)
{
    m_card = addCard();
    addFooter(string("acct.footer"));
    rebuild();
    connect(&services.account, &SettingsAccount::changed, this, &AccountTab::rebuild, Qt::QueuedConnection);
}

void AccountTab::rebuild()
{
    // A fresh card: the rows differ between the two states.
    auto *layout = static_cast<QVBoxLayout *>(this->layout());
    const int index = layout->indexOf(m_card);
    m_card->hide();
    m_card->deleteLater(); // its button may be the sender of this change
    m_card = new SettingsCard(this);
    layout->insertWidget(index, m_card);

    SettingsAccount &account = m_services.account;
    if (account.status() == SettingsAccount::Status::signedIn) {
        auto *signOut = new MSPillButton(string("acct.signOut"), false, [&account] { account.signOut(); });
        signOut->setObjectName(QStringLiteral("signOut"));
        m_card->addRow(new SettingsRow(string("acct.signedIn"), account.email(), signOut, QFont::DemiBold));
        auto *sync = new PillSwitch(account.syncEnabled());
        sync->setObjectName(QStringLiteral("syncEnabled"));
        connect(sync, &QAbstractButton::toggled, this, [&account](bool on) { account.setSyncEnabled(on); });
        m_card->addRow(new SettingsRow(string("acct.sync"), string("acct.syncBody"), sync));
        return;
    }
    const bool available = account.isAvailable();
    auto *signIn = new MSPillButton(string("acct.signIn"), true, [&account] { account.signIn(); });
    signIn->setObjectName(QStringLiteral("signIn"));
    signIn->setEnabled(available);
    const QString body =
        available ? string("acct.signedOutBody")
                  : SettingsExtraStrings::text(SettingsExtraStrings::Key::signInUnavailable, m_services.l10n.language());
    auto *row = new SettingsRow(string("acct.signedOutTitle"), body, signIn, QFont::DemiBold);
    row->setObjectName(QStringLiteral("signedOutRow"));
    m_card->addRow(row);
}
