#pragma once

#include "app/WindowActivator.h"

// Qt's own way: wrap the foreign window and ask for activation. Enough where
// the platform plug-in honours it; X11 needs X11WindowActivator instead.
class QtWindowActivator : public WindowActivator {
public:
    void activate(std::uint64_t windowId) override;
};
