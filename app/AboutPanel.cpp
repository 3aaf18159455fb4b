// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AboutPanel.h"

#include "l10n/L10n.h"
#include "BuildInfo.h"

#include <QIcon>
#include <QMessageBox>

namespace AboutPanel {

QString versionLine(L10n &l10n)
{
    return l10n.format(QStringLiteral("about.version"), QStringLiteral("%1 (%2)").arg(
                                                            QString::fromUtf8(BuildInfo::version),
                                                            QString::fromUtf8(BuildInfo::buildNumber)));
}

QMessageBox *show(L10n &l10n)
{
    static QPointer<QMessageBox> panel;
    if (!panel) {
        panel = new QMessageBox;
        panel->setAttribute(Qt::WA_DeleteOnClose);
        panel->setWindowTitle(l10n.string(QStringLiteral("menu.about")));
        panel->setIconPixmap(QIcon(QStringLiteral(":/com.norvane.Stashwell.svg")).pixmap(64, 64));
        panel->setText(QStringLiteral("<b>Stashwell</b>"));
        panel->setInformativeText(versionLine(l10n) + QLatin1Char('\n') + l10n.string(QStringLiteral("about.tagline")));
        panel->setStandardButtons(QMessageBox::Ok);
        panel->setModal(false);
    }
    panel->show();
    panel->raise();
    panel->activateWindow();
    return panel;
}

} // namespace AboutPanel
