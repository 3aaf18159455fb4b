// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The six tabs' contents, rows top to bottom.
#include "settings/PillControls.h"
#include "settings/SettingsTab.h"
#include "settings/SettingsTabPage.h"

#include <memory>

class HotKeyRecorder;
class QLabel;
class QVBoxLayout;

class GeneralTab : public SettingsTabPage {
    Q_OBJECT
public:
    explicit GeneralTab(SettingsServices &services, QWidget *parent = nullptr);
    // "System" (empty code), then the fourteen languages by their own names.
    static MSDropdown::Options languageOptions(L10n &l10n);

private:
    void chooseLanguage(const QString &code);
    // The recorder shows the setting; the subtitle says when another program holds the key.
    void refreshHotKeyRow();

    SettingsRow *m_hotKeyRow = nullptr;
    HotKeyRecorder *m_hotKeyRecorder = nullptr;
};

class HistoryTab : public SettingsTabPage {
    Q_OBJECT
public:
    explicit HistoryTab(SettingsServices &services, QWidget *parent = nullptr);
    static MSDropdown::Options limitOptions(L10n &l10n, qint64 current);
    static MSDropdown::Options retentionOptions(L10n &l10n, qint64 current);

private:
    void refreshRestoreRow();
    SettingsRow *m_restoreRow = nullptr;
};

class PrivacyTab : public SettingsTabPage {
    Q_OBJECT
public:
    explicit PrivacyTab(SettingsServices &services, QWidget *parent = nullptr);
    // The built-in password-manager list as one line.
    static QString builtInListText();
    // "Add App…": appends the chosen identifiers that are new, in order.
    void addApps();

private:
    void rebuildExcludedList();
    QWidget *excludedRow(const QString &bundleID);

    QWidget *m_excludedList = nullptr;
    QLabel *m_builtInList = nullptr;
    FooterNote *m_builtInWarning = nullptr;
};

class PermissionsTab : public SettingsTabPage {
    Q_OBJECT
public:
    static constexpr int pollIntervalMs = 1000;
    explicit PermissionsTab(SettingsServices &services, QWidget *parent = nullptr);
    bool polling() const { return m_timer->isActive(); }
    // Reads whether XTest is available and shows its badge; while it is missing the row says
    // what that means and offers to check again.
    void refresh();

protected:
    void showEvent(QShowEvent *) override;
    void hideEvent(QHideEvent *) override;

private:
    std::unique_ptr<PollTimer> m_timer;
    SettingsRow *m_row;
    QWidget *m_badge;
    QWidget *m_missingBadge;
    QWidget *m_recheckButton;
};

class AccountTab : public SettingsTabPage {
    Q_OBJECT
public:
    explicit AccountTab(SettingsServices &services, QWidget *parent = nullptr);

private:
    void rebuild();
    SettingsCard *m_card = nullptr;
};

class AboutTab : public SettingsTabPage {
    Q_OBJECT
public:
    explicit AboutTab(SettingsServices &services, QWidget *parent = nullptr);
    // "0.1.0 (dev)" when the build has no version.
    static QString displayVersion(const QString &version);

protected:
    void showEvent(QShowEvent *) override;

private:
    // A diagnostics switch: bound to its setting and naming the service's host, or off and
    // disabled with the reason while no web service is configured.
    SettingsRow *diagnosticsRow(const char *titleKey, const char *subtitleKey, const char *key,
                                bool (AppSettings::*get)() const, void (AppSettings::*set)(bool));

    PillSwitch *m_autoUpdate = nullptr;
};

namespace SettingsTabPages {
SettingsTabPage *make(SettingsTab tab, SettingsServices &services, QWidget *parent);
}
