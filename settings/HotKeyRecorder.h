// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The hot key's control in the General tab: the combination as key caps in an outlined
// capsule. A click (or Space) starts recording with the keyboard grabbed, so the desktop's
// own shortcuts do not fire: the next key held with Ctrl, Alt or Super is chosen, Escape
// cancels and Backspace chooses the default. Keys without those modifiers keep it listening.
// Recording ends with a choice, Escape, the focus leaving or the window closing.
#include <QKeyCombination>
#include <QWidget>

class KeyComboChips;
class QLabel;
class QStackedLayout;

class HotKeyRecorder final : public QWidget {
    Q_OBJECT
public:
    HotKeyRecorder(QKeyCombination combination, const QString &prompt, QWidget *parent = nullptr);
    ~HotKeyRecorder() override;
    QKeyCombination combination() const { return m_combination; }
    void setCombination(QKeyCombination combination);
    bool isRecording() const { return m_recording; }
    void startRecording();
    // As startRecording, once its window is active: the X server grants the keyboard grab only
    // to a window that is shown, and a window just asked to show may not be yet.
    void startRecordingWhenActive();

signals:
    // A new choice; the owner stores it (and calls setCombination when it took it).
    void chosen(QKeyCombination combination);
    // Recording started or ended (before `chosen`); the owner suspends the global hot key
    // meanwhile, so pressing the current one is recorded instead of opening the palette.
    void recordingChanged(bool recording);

protected:
    bool event(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void stopRecording();
    void choose(QKeyCombination combination);

    QKeyCombination m_combination;
    bool m_recording = false;
    bool m_startWhenActive = false;
    QStackedLayout *m_pages;
    KeyComboChips *m_chips = nullptr;
    QLabel *m_prompt;
};
