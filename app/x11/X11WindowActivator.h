#pragma once

#include "app/WindowActivator.h"

// On X11 a client cannot simply focus another client's window: the window
// manager decides. The polite way is a _NET_ACTIVE_WINDOW request to the root
// window (as a pager would send it, which window managers honour), plus
// mapping and raising the window ourselves for the case of no window manager.
class X11WindowActivator : public WindowActivator {
public:
    void activate(std::uint64_t windowId) override;
};
