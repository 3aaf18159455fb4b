// SPDX-License-Identifier: GPL-3.0-or-later
#include "XProbe.h"

#include <cstdlib>
#include <poll.h>
#include <xcb/damage.h>
#include <xcb/xtest.h>

namespace {

constexpr int cursorWidth = 12; // a text cursor's repaint is at most this wide

int millisUntil(XProbe::Clock::time_point deadline)
{
    using namespace std::chrono;
    return int(std::max<long>(0, duration_cast<milliseconds>(deadline - XProbe::Clock::now()).count() + 1));
}

} // namespace

XProbe::XProbe(const QString &display)
{
    xcb_connection_t *c = xcb_connect(display.toLatin1().constData(), nullptr);
    if (xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        return;
    }
    m_connection = c;
    const xcb_setup_t *setup = xcb_get_setup(c);
    m_root = xcb_setup_roots_iterator(setup).data->root;
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, m_root, XCB_CW_EVENT_MASK, &mask);

    const xcb_query_extension_reply_t *damage = xcb_get_extension_data(c, &xcb_damage_id);
    if (damage && damage->present) {
        free(xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
        m_damageEvent = damage->first_event;
    }
    m_minKeycode = setup->min_keycode;
    auto cookie = xcb_get_keyboard_mapping(c, setup->min_keycode, setup->max_keycode - setup->min_keycode + 1);
    if (xcb_get_keyboard_mapping_reply_t *reply = xcb_get_keyboard_mapping_reply(c, cookie, nullptr)) {
        const xcb_keysym_t *syms = xcb_get_keyboard_mapping_keysyms(reply);
        m_keymap.assign(syms, syms + xcb_get_keyboard_mapping_keysyms_length(reply));
        m_symsPerCode = reply->keysyms_per_keycode;
        free(reply);
    }
    xcb_flush(c);
}

XProbe::~XProbe()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

xcb_keycode_t XProbe::keycode(xcb_keysym_t sym) const
{
    for (size_t i = 0; i < m_keymap.size(); ++i)
        if (m_keymap[i] == sym)
            return xcb_keycode_t(m_minKeycode + int(i) / m_symsPerCode);
    return 0;
}

XProbe::Clock::time_point XProbe::press(std::initializer_list<xcb_keysym_t> keys)
{
    for (xcb_keysym_t k : keys)
        xcb_test_fake_input(m_connection, XCB_KEY_PRESS, keycode(k), XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    for (auto it = std::rbegin(keys); it != std::rend(keys); ++it)
        xcb_test_fake_input(m_connection, XCB_KEY_RELEASE, keycode(*it), XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    const Clock::time_point sent = Clock::now();
    xcb_flush(m_connection);
    return sent;
}

XProbe::Clock::time_point XProbe::type(QChar c)
{
    return press({xcb_keysym_t(c.unicode())}); // Latin-1 keysyms are their code points
}

XProbe::Event XProbe::next(Clock::time_point deadline)
{
    pollfd fd{xcb_get_file_descriptor(m_connection), POLLIN, 0};
    for (;;) {
        if (xcb_generic_event_t *event = xcb_poll_for_event(m_connection))
            return Event(event);
        if (Clock::now() >= deadline || xcb_connection_has_error(m_connection))
            return nullptr;
        poll(&fd, 1, millisUntil(deadline));
    }
}

std::optional<XProbe::Mapped> XProbe::waitMapped(bool overrideRedirect, int timeoutMs)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Event event = next(deadline)) {
        const auto *map = reinterpret_cast<xcb_map_notify_event_t *>(event.get());
        if ((event->response_type & 0x7f) == XCB_MAP_NOTIFY && bool(map->override_redirect) == overrideRedirect)
            return Mapped{Clock::now(), map->window};
    }
    return std::nullopt;
}

bool XProbe::waitUnmapped(xcb_window_t window, int timeoutMs)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Event event = next(deadline)) {
        const uint8_t kind = event->response_type & 0x7f;
        if ((kind == XCB_UNMAP_NOTIFY && reinterpret_cast<xcb_unmap_notify_event_t *>(event.get())->window == window)
            || (kind == XCB_DESTROY_NOTIFY
                && reinterpret_cast<xcb_destroy_notify_event_t *>(event.get())->window == window))
            return true;
    }
    return false;
}

void XProbe::discardEvents()
{
    while (next(Clock::now()))
        ;
}

void XProbe::watchRepaints(xcb_window_t window)
{
    if (!m_damageEvent)
        return;
    std::vector<xcb_window_t> windows{window};
    for (size_t i = 0; i < windows.size(); ++i) {
        xcb_query_tree_reply_t *tree = xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, windows[i]), nullptr);
        if (!tree)
            continue;
        const xcb_window_t *children = xcb_query_tree_children(tree);
        windows.insert(windows.end(), children, children + xcb_query_tree_children_length(tree));
        free(tree);
    }
    for (xcb_window_t w : windows) {
        m_damages.push_back(xcb_generate_id(m_connection));
        xcb_damage_create(m_connection, m_damages.back(), w, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    }
    xcb_flush(m_connection);
}

void XProbe::stopWatchingRepaints()
{
    for (uint32_t damage : m_damages)
        xcb_damage_destroy(m_connection, damage);
    m_damages.clear();
    xcb_flush(m_connection);
    discardEvents();
}

std::optional<double> XProbe::settledRepaint(Clock::time_point start, int quietMs, int timeoutMs)
{
    const auto ms = [](int n) { return std::chrono::milliseconds(n); };
    const Clock::time_point giveUp = start + ms(2 * timeoutMs);
    std::optional<Clock::time_point> last;
    for (;;) {
        const Clock::time_point deadline = last ? std::min(*last + ms(quietMs), giveUp) : start + ms(timeoutMs);
        const Event event = next(deadline);
        if (!event)
            break;
        const auto *damage = reinterpret_cast<xcb_damage_notify_event_t *>(event.get());
        if ((event->response_type & 0x7f) == m_damageEvent + XCB_DAMAGE_NOTIFY && damage->area.width > cursorWidth)
            last = Clock::now();
    }
    if (!last)
        return std::nullopt;
    return std::chrono::duration<double, std::milli>(*last - start).count();
}
