#include "app/x11/X11WindowActivator.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct ConnectionCloser {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using Connection = std::unique_ptr<xcb_connection_t, ConnectionCloser>;

xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    xcb_intern_atom_cookie_t cookie = xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name);
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(xcb_intern_atom_reply(c, cookie, nullptr), &std::free);
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

} // namespace

void X11WindowActivator::activate(std::uint64_t windowId)
{
    if (windowId == 0 || !std::getenv("DISPLAY"))
        return;
    int screenNumber = 0;
    Connection c(xcb_connect(nullptr, &screenNumber));
    if (!c || xcb_connection_has_error(c.get()))
        return;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c.get()));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem)
        return;
    const xcb_window_t root = screens.data->root;
    const auto window = static_cast<xcb_window_t>(windowId);

    xcb_map_window(c.get(), window);
    const uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(c.get(), window, XCB_CONFIG_WINDOW_STACK_MODE, &above);

    xcb_client_message_event_t event {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(c.get(), "_NET_ACTIVE_WINDOW");
    event.data.data32[0] = 2;  // source: a pager, which window managers obey
    event.data.data32[1] = XCB_CURRENT_TIME;
    if (event.type != XCB_ATOM_NONE) {
        xcb_send_event(c.get(), 0, root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    }
    xcb_flush(c.get());
}
