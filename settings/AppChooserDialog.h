// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// "Add App…" of the privacy tab's excluded applications: a dialog listing the
// installed applications (desktop entries) with their icons and names; several can be chosen.
#include <QDialog>
#include <QStringList>

class AppIconCache;
class DesktopEntries;
class L10n;
class QLineEdit;
class QListWidget;
class QPushButton;

class AppChooserDialog : public QDialog {
    Q_OBJECT
public:
    AppChooserDialog(const DesktopEntries &apps, AppIconCache &icons, L10n &l10n, QWidget *parent = nullptr);

    // The chosen desktop-entry IDs in list order; empty when cancelled.
    QStringList chosen() const;
    QListWidget *list() const { return m_list; }
    QLineEdit *filter() const { return m_filter; }

    // Runs the dialog modally.
    static QStringList choose(const DesktopEntries &apps, AppIconCache &icons, L10n &l10n, QWidget *parent);

private:
    void applyFilter(const QString &text);

    QLineEdit *m_filter;
    QListWidget *m_list;
    QPushButton *m_add;
};
