#include "platform/GlobalHotKey.h"

GlobalHotKey::GlobalHotKey(HotKeyBackend &backend, QObject *parent)
    : QObject(parent)
    , m_backend(backend)
{
}

GlobalHotKey::~GlobalHotKey()
{
    // The backend must not call into a destroyed object.
    if (m_hotKeyRef)
        m_backend.unregisterHotKey(*m_hotKeyRef);
    if (m_eventHandler)
        m_backend.removeHandler(*m_eventHandler);
}

void GlobalHotKey::registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    if (m_hotKeyRef) {
        m_backend.unregisterHotKey(*m_hotKeyRef);
        m_hotKeyRef.reset();
    }
    if (m_eventHandler) {
        m_backend.removeHandler(*m_eventHandler);
        m_eventHandler.reset();
    }
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
    m_hotKeyRef = m_backend.registerHotKey(key, modifiers, identifier);
}
