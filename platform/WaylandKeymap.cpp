// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandKeymap.h"

#include <QChar>
#include <memory>
#include <xkbcommon/xkbcommon.h>

namespace {

constexpr quint32 evdevOffset = 8; // xkb key codes are evdev codes plus 8

template <typename T, void (*release)(T *)> struct Releaser {
    void operator()(T *p) const { release(p); }
};
using Context = std::unique_ptr<xkb_context, Releaser<xkb_context, xkb_context_unref>>;
using Keymap = std::unique_ptr<xkb_keymap, Releaser<xkb_keymap, xkb_keymap_unref>>;

} // namespace

std::optional<WaylandKeymap> WaylandKeymap::create()
{
    const Context context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
    const Keymap keymap(context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)
                                : nullptr);
    if (!keymap)
        return std::nullopt;
    WaylandKeymap result;
    const std::unique_ptr<char, decltype(&free)> text(
        xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1), &free);
    result.m_text = QByteArray(text.get(), qsizetype(strlen(text.get()) + 1));
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap.get()); code <= xkb_keymap_max_keycode(keymap.get());
         ++code) {
        const xkb_keysym_t *syms = nullptr;
        const int count = xkb_keymap_key_get_syms_by_level(keymap.get(), code, 0, 0, &syms);
        for (int i = 0; i < count; ++i)
            if (!result.m_keyOf.contains(syms[i]))
                result.m_keyOf.insert(syms[i], code - evdevOffset);
    }
    const std::initializer_list<std::tuple<Qt::KeyboardModifier, xkb_keysym_t, const char *>> modifiers{
        {Qt::ControlModifier, XKB_KEY_Control_L, XKB_MOD_NAME_CTRL},
        {Qt::ShiftModifier, XKB_KEY_Shift_L, XKB_MOD_NAME_SHIFT},
        {Qt::AltModifier, XKB_KEY_Alt_L, XKB_MOD_NAME_ALT},
        {Qt::MetaModifier, XKB_KEY_Super_L, XKB_MOD_NAME_LOGO}};
    for (const auto &[modifier, keysym, name] : modifiers) {
        const xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap.get(), name);
        if (index != XKB_MOD_INVALID && result.m_keyOf.contains(keysym))
            result.m_modifiers.insert(modifier, {result.m_keyOf.value(keysym), 1u << index});
    }
    return result;
}

std::optional<WaylandKeymap::Keystroke> WaylandKeymap::keystroke(Qt::KeyboardModifiers modifiers, Qt::Key key) const
{
    if (key < 0x20 || key > 0x7e || !m_keyOf.contains(QChar(key).toLower().unicode()))
        return std::nullopt;
    Keystroke stroke;
    stroke.key = m_keyOf.value(QChar(key).toLower().unicode());
    for (Qt::KeyboardModifier modifier : {Qt::ControlModifier, Qt::ShiftModifier, Qt::AltModifier, Qt::MetaModifier}) {
        if (!(modifiers & modifier))
            continue;
        if (!m_modifiers.contains(modifier))
            return std::nullopt;
        const auto [code, mask] = m_modifiers.value(modifier);
        stroke.modifierKeys.append(code);
        stroke.modifierMask |= mask;
    }
    return stroke;
}
