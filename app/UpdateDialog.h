// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The updater's own window: "Checking…" with Cancel, then
// "up to date", "new version" (notes, release-notes link, Download / Skip / Later) or
// "error". One window, reused; not modal.
#include "app/UpdateUserDriver.h"

#include <QDialog>

class L10n;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

class UpdateDialog : public QDialog, public UpdateUserDriver {
    Q_OBJECT
public:
    explicit UpdateDialog(L10n &l10n, QWidget *parent = nullptr);

    void showChecking(std::function<void()> cancel) override;
    void showUpToDate(const QString &currentVersion) override;
    void showUpdateFound(const AppcastItem &item, const QString &currentVersion,
                         std::function<void(Choice)> reply) override;
    void showError() override;
    void dismiss() override;

    // Opens the release-notes link; tests replace it.
    std::function<void(const QUrl &)> openURL;

    // For tests: the parts of the current state.
    QString heading() const;
    QString message() const;
    QString notes() const;
    QList<QPushButton *> visibleButtons() const;

protected:
    void reject() override;
    void closeEvent(QCloseEvent *event) override;

private:
    QString text(int key) const;
    void resetButtons();
    QPushButton *addButton(const QString &text, std::function<void()> action);
    void present();
    void answer(Choice choice);
    void abandon();

    L10n &m_l10n;
    QLabel *m_heading;
    QLabel *m_message;
    QProgressBar *m_progress;
    QPlainTextEdit *m_notes;
    QWidget *m_buttonRow;
    std::function<void()> m_cancel;
    std::function<void(Choice)> m_reply;
};
