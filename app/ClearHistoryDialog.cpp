// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ClearHistoryDialog.h"

#include "capture/HistoryStore.h"
#include "l10n/L10n.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QPushButton>

ClearHistoryDialog::ClearHistoryDialog(HistoryStore &store, L10n &l10n, Ask ask)
    : m_store(store)
    , m_l10n(l10n)
    , m_ask(std::move(ask))
{
}

void ClearHistoryDialog::configure(QMessageBox &box, L10n &l10n)
{
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(QStringLiteral("Stashwell"));
    box.setText(l10n.string(QStringLiteral("clear.title")));
    box.setInformativeText(l10n.string(QStringLiteral("clear.body")));
    // One role for all three keeps them in the order added whatever the desktop's button layout.
    QPushButton *keep = box.addButton(l10n.string(QStringLiteral("clear.keepPins")), QMessageBox::ActionRole);
    box.addButton(l10n.string(QStringLiteral("clear.all")), QMessageBox::ActionRole);
    QPushButton *cancel = box.addButton(l10n.string(QStringLiteral("common.cancel")), QMessageBox::ActionRole);
    box.setDefaultButton(keep);
    box.setEscapeButton(cancel);
}

ClearHistoryDialog::Answer ClearHistoryDialog::execute(QMessageBox &box)
{
    box.setWindowFlag(Qt::WindowStaysOnTopHint); // the application has no window of its own in front
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
    const QList<QAbstractButton *> buttons = box.buttons();
    const qsizetype chosen = buttons.indexOf(box.clickedButton());
    return chosen == 0 ? Answer::keepPins : chosen == 1 ? Answer::everything : Answer::cancel;
}

ClearHistoryDialog::Answer ClearHistoryDialog::present()
{
    QMessageBox box;
    configure(box, m_l10n);
    const Answer answer = m_ask(box);
    if (answer != Answer::cancel)
        m_store.clear(answer == Answer::keepPins);
    return answer;
}
