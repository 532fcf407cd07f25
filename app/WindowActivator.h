#pragma once

#include <cstdint>
#include <memory>

// Brings another process's top-level window to the front and gives it the
// focus, given its native window identifier. One implementation per
// windowing system; forThisPlatform() picks the one the running Qt platform
// plug-in needs.
class WindowActivator {
public:
    virtual ~WindowActivator() = default;
    virtual void activate(std::uint64_t windowId) = 0;

    static std::unique_ptr<WindowActivator> forThisPlatform();
};
