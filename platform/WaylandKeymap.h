// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QHash>
#include <QList>
#include <Qt>
#include <optional>

// The keyboard layout of Stashwell's virtual keyboard (US, compiled by libxkbcommon) and the
// keys of the combinations typed with it. Key codes are the evdev codes the protocol carries,
// the xkb code less 8; modifier masks are those of this keymap.
class WaylandKeymap {
public:
    struct Keystroke {
        QList<quint32> modifierKeys; // Ctrl, Shift, Alt, Super, in that order
        quint32 key = 0;
        quint32 modifierMask = 0;    // the modifiers' state while `key` is down
    };

    // nullopt when the layout cannot be compiled (no XKB data installed).
    static std::optional<WaylandKeymap> create();

    // The keymap in xkb's text format, with its terminating NUL, as the compositor expects it.
    const QByteArray &text() const { return m_text; }
    // A printable ASCII key (letters as their lower case) with modifiers; nullopt when the
    // layout has no key for it.
    std::optional<Keystroke> keystroke(Qt::KeyboardModifiers modifiers, Qt::Key key) const;

private:
    QByteArray m_text;
    QHash<quint32, quint32> m_keyOf;       // keysym → evdev code of the first key with it at its base level
    QHash<int, std::pair<quint32, quint32>> m_modifiers; // Qt modifier → (evdev code, mask)
};
