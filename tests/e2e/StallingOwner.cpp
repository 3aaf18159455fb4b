// SPDX-License-Identifier: GPL-3.0-or-later
// A CLIPBOARD owner that misbehaves, for the capture robustness tests:
//   silent            takes the clipboard and never answers a request
//   slow <ms> <text>  offers <text> as UTF8_STRING and answers every request <ms> late
//   huge <bytes>      offers UTF8_STRING announced <bytes> long, sent in chunks only if asked for
// It prints "owned" once it holds the selection, "request" for every request it receives and
// "transfer" when an incremental transfer starts, and exits when another client takes it.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <thread>
#include <vector>
#include <xcb/xcb.h>

namespace {

xcb_connection_t *c;

xcb_atom_t atom(const char *name)
{
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t result = reply ? reply->atom : XCB_ATOM_NONE;
    free(reply);
    return result;
}

void say(const char *line)
{
    std::printf("%s\n", line);
    std::fflush(stdout);
}

void notify(const xcb_selection_request_event_t &request, xcb_atom_t property)
{
    xcb_selection_notify_event_t event{};
    event.response_type = XCB_SELECTION_NOTIFY;
    event.time = request.time;
    event.requestor = request.requestor;
    event.selection = request.selection;
    event.target = request.target;
    event.property = property;
    xcb_send_event(c, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char *>(&event));
    xcb_flush(c);
}

// An incremental transfer in progress: the next chunk goes out when the requestor deletes the property.
struct Transfer {
    xcb_window_t requestor = XCB_WINDOW_NONE;
    xcb_atom_t property = XCB_ATOM_NONE;
    long long total = 0;
    long long left = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode != "silent" && !(mode == "slow" && argc == 4) && !(mode == "huge" && argc == 3)) {
        std::fprintf(stderr, "usage: %s silent | slow <ms> <text> | huge <bytes>\n", argv[0]);
        return 2;
    }
    c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 1;
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    const xcb_atom_t clipboard = atom("CLIPBOARD"), targets = atom("TARGETS"), utf8 = atom("UTF8_STRING"),
                     incr = atom("INCR");
    xcb_set_selection_owner(c, window, clipboard, XCB_CURRENT_TIME);
    xcb_get_selection_owner_reply_t *owner = xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, clipboard), nullptr);
    const bool owned = owner && owner->owner == window;
    free(owner);
    if (!owned)
        return 1;
    say("owned");

    const int delayMs = mode == "slow" ? std::atoi(argv[2]) : 0;
    const std::string text = mode == "slow" ? argv[3] : "";
    const long long hugeBytes = mode == "huge" ? std::atoll(argv[2]) : 0;
    const std::vector<char> chunk(256 * 1024, 'x');
    Transfer transfer;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (std::chrono::steady_clock::now() < deadline) {
        xcb_generic_event_t *event = xcb_poll_for_event(c);
        if (!event) {
            if (xcb_connection_has_error(c))
                return 1;
            pollfd fd{xcb_get_file_descriptor(c), POLLIN, 0};
            poll(&fd, 1, 1000);
            continue;
        }
        const uint8_t type = event->response_type & 0x7f;
        if (type == XCB_SELECTION_CLEAR) {
            free(event);
            return 0;
        }
        if (type == XCB_SELECTION_REQUEST)
            say("request");
        if (type == XCB_SELECTION_REQUEST && mode != "silent") {
            const auto request = *reinterpret_cast<xcb_selection_request_event_t *>(event);
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            if (request.target == targets) {
                const xcb_atom_t offered[] = {targets, utf8};
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request.requestor, request.property, XCB_ATOM_ATOM, 32, 2,
                                    offered);
                notify(request, request.property);
            } else if (request.target == utf8 && mode == "slow") {
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request.requestor, request.property, utf8, 8,
                                    uint32_t(text.size()), text.data());
                notify(request, request.property);
            } else if (request.target == utf8) {
                const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
                xcb_change_window_attributes(c, request.requestor, XCB_CW_EVENT_MASK, &events);
                const uint32_t announced = uint32_t(std::min(hugeBytes, 0xffffffffLL));
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request.requestor, request.property, incr, 32, 1,
                                    &announced);
                transfer = {request.requestor, request.property, hugeBytes, hugeBytes};
                notify(request, request.property);
            } else {
                notify(request, XCB_ATOM_NONE);
            }
        }
        if (type == XCB_PROPERTY_NOTIFY) {
            const auto *change = reinterpret_cast<xcb_property_notify_event_t *>(event);
            if (change->window == transfer.requestor && change->atom == transfer.property
                && change->state == XCB_PROPERTY_DELETE && transfer.left >= 0) {
                if (transfer.left == transfer.total)
                    say("transfer");
                const long long size = std::min<long long>(transfer.left, (long long)chunk.size());
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, transfer.requestor, transfer.property, utf8, 8,
                                    uint32_t(size), chunk.data());
                xcb_flush(c);
                transfer.left = size ? transfer.left - size : -1; // the zero-length chunk ends it
            }
        }
        free(event);
    }
    return 0;
}
