// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/HotKeyRecorder.h"

#include "platform/GlobalHotKey.h"
#include "settings/PillControls.h"
#include "settings/SettingsWidgets.h"

#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QStackedLayout>
#include <utility>

HotKeyRecorder::HotKeyRecorder(QKeyCombination combination, const QString &prompt, QWidget *parent)
    : QWidget(parent)
    , m_combination(combination)
    , m_pages(new QStackedLayout(this))
    , m_prompt(SettingsText::secondary(prompt, 0.92, this))
{
    setObjectName(QStringLiteral("hotKeyRecorder"));
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setContentsMargins(6, 3, 6, 3);
    m_prompt->setObjectName(QStringLiteral("hotKeyRecording")); // shown while recording
    m_prompt->setWordWrap(false);
    m_pages->addWidget(m_prompt);
    setCombination(combination);
}

HotKeyRecorder::~HotKeyRecorder()
{
    stopRecording(); // deleted while recording: the global hot key comes back
}

void HotKeyRecorder::setCombination(QKeyCombination combination)
{
    m_combination = combination;
    delete m_chips;
    m_chips = new KeyComboChips(GlobalHotKey::displayParts(combination), this);
    m_pages->insertWidget(0, m_chips);
    m_pages->setCurrentWidget(m_recording ? static_cast<QWidget *>(m_prompt) : m_chips);
    setAccessibleName(GlobalHotKey::displayText(combination));
}

void HotKeyRecorder::startRecording()
{
    if (m_recording)
        return;
    m_recording = true;
    m_pages->setCurrentWidget(m_prompt);
    setFocus(Qt::OtherFocusReason);
    grabKeyboard();
    update();
    emit recordingChanged(true);
}

void HotKeyRecorder::startRecordingWhenActive()
{
    if (isActiveWindow())
        startRecording();
    else
        m_startWhenActive = true;
}

bool HotKeyRecorder::event(QEvent *event)
{
    if (event->type() == QEvent::WindowActivate && std::exchange(m_startWhenActive, false))
        startRecording();
    return QWidget::event(event);
}

void HotKeyRecorder::stopRecording()
{
    if (!m_recording)
        return;
    m_recording = false;
    releaseKeyboard();
    m_pages->setCurrentWidget(m_chips);
    update();
    emit recordingChanged(false);
}

void HotKeyRecorder::choose(QKeyCombination combination)
{
    stopRecording();
    if (combination != m_combination)
        emit chosen(combination);
}

void HotKeyRecorder::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        startRecording();
}

void HotKeyRecorder::keyPressEvent(QKeyEvent *event)
{
    const auto key = Qt::Key(event->key());
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (!m_recording) {
        if (key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter)
            startRecording();
        else
            QWidget::keyPressEvent(event);
        return;
    }
    if (modifiers == Qt::NoModifier && key == Qt::Key_Escape)
        stopRecording();
    else if (modifiers == Qt::NoModifier && key == Qt::Key_Backspace)
        choose(GlobalHotKey::defaultCombination);
    else if (const QKeyCombination pressed(modifiers, key); GlobalHotKey::isAcceptable(pressed))
        choose(pressed);
}

void HotKeyRecorder::focusOutEvent(QFocusEvent *event)
{
    stopRecording();
    QWidget::focusOutEvent(event);
}

void HotKeyRecorder::hideEvent(QHideEvent *event)
{
    m_startWhenActive = false;
    stopRecording();
    QWidget::hideEvent(event);
}

void HotKeyRecorder::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor line = m_recording || hasFocus() ? PillTheme::accent(palette()) : PillTheme::outline(palette());
    p.setPen(QPen(line, m_recording ? 2 : 1));
    p.setBrush(PillTheme::fill(palette()));
    const QRectF frame = QRectF(rect()).adjusted(1, 1, -1, -1);
    p.drawRoundedRect(frame, frame.height() / 2, frame.height() / 2);
}
