// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/GlobalHotKey.h"

#include <QKeySequence>

GlobalHotKey::GlobalHotKey(HotKeyBackend &backend, QObject *parent)
    : QObject(parent)
    , m_backend(backend)
{
}

GlobalHotKey::~GlobalHotKey()
{
    // The backend must not call into a destroyed object.
    releaseGrab();
    if (m_eventHandler)
        m_backend.removeHandler(*m_eventHandler);
}

std::optional<QKeyCombination> GlobalHotKey::parse(const QString &text)
{
    QString portable = text.trimmed();
    portable.replace(QLatin1String("Super+"), QLatin1String("Meta+"), Qt::CaseInsensitive);
    const QKeySequence sequence = QKeySequence::fromString(portable, QKeySequence::PortableText);
    if (sequence.count() != 1 || !isAcceptable(sequence[0]))
        return std::nullopt;
    return sequence[0];
}

bool GlobalHotKey::isAcceptable(QKeyCombination combination)
{
    switch (combination.key()) {
    case Qt::Key_unknown:
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
        return false;
    default:
        break;
    }
    const Qt::KeyboardModifiers mods = combination.keyboardModifiers();
    const Qt::KeyboardModifiers allowed = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier | Qt::ShiftModifier;
    return (mods & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) && !(mods & ~allowed);
}

QString GlobalHotKey::portableText(QKeyCombination combination)
{
    return QKeySequence(combination).toString(QKeySequence::PortableText);
}

QStringList GlobalHotKey::displayParts(QKeyCombination combination)
{
    const Qt::KeyboardModifiers mods = combination.keyboardModifiers();
    QStringList parts;
    for (const auto &[modifier, name] : {std::pair{Qt::ControlModifier, "Ctrl"}, std::pair{Qt::AltModifier, "Alt"},
                                         std::pair{Qt::ShiftModifier, "Shift"}, std::pair{Qt::MetaModifier, "Super"}})
        if (mods & modifier)
            parts << QLatin1String(name);
    parts << QKeySequence(combination.key()).toString(QKeySequence::PortableText);
    return parts;
}

void GlobalHotKey::registerHotKey(QKeyCombination combination)
{
    m_wanted = combination;
    if (m_suspended || (combination == m_combination && m_hotKeyRef))
        return;
    releaseGrab();
    installHandler();
    const HotKeyBackend::Registration registration =
        m_backend.registerHotKey(combination.key(), combination.keyboardModifiers(), identifier);
    m_hotKeyRef = registration.handle;
    const Status status = registration.handle ? Status::registered
                          : registration.taken ? Status::taken
                                               : Status::unavailable;
    if (status == m_status && combination == m_combination)
        return;
    m_combination = combination;
    m_status = status;
    emit statusChanged();
}

void GlobalHotKey::setSuspended(bool suspended)
{
    if (suspended == m_suspended)
        return;
    m_suspended = suspended;
    if (suspended)
        releaseGrab();
    else if (m_wanted)
        registerHotKey(*m_wanted);
}

void GlobalHotKey::registerAgain()
{
    releaseGrab();
    if (!m_suspended && m_wanted)
        registerHotKey(*m_wanted);
}

void GlobalHotKey::releaseGrab()
{
    if (m_hotKeyRef)
        m_backend.unregisterHotKey(*m_hotKeyRef);
    m_hotKeyRef.reset();
}

void GlobalHotKey::installHandler()
{
    if (m_eventHandler)
        return;
    // With one registration every press is this one: the identifier is not inspected.
    // The trigger is queued so that it runs after the platform's handler has returned.
    m_eventHandler = m_backend.installHandler([this](quint32) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (onTrigger)
                    onTrigger();
            },
            Qt::QueuedConnection);
    });
}
