// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The clear-history question of the tray menu (also offered by the history settings).
#include <functional>

class HistoryStore;
class L10n;
class QMessageBox;

class ClearHistoryDialog {
public:
    enum class Answer { keepPins, everything, cancel };
    // Shows the question and returns the answer; tests pass their own.
    using Ask = std::function<Answer(QMessageBox &box)>;

    ClearHistoryDialog(HistoryStore &store, L10n &l10n, Ask ask = execute);

    // Asks and carries out the answer; returns it.
    Answer present();

    // The warning alert: clear.title, clear.body and the three buttons in order
    // (keep pins, everything, cancel); keep pins is the default, Escape cancels.
    static void configure(QMessageBox &box, L10n &l10n);
    // Runs the box modally in front of everything.
    static Answer execute(QMessageBox &box);

private:
    HistoryStore &m_store;
    L10n &m_l10n;
    Ask m_ask;
};
