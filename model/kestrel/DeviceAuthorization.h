#pragma once

#include <string>

namespace orvane::model {

// One request under way on one phone: the service's handle for it, the
// phone's name to show, and whether the person has approved it yet. Lives in
// memory for the length of one wait only.
struct DeviceAuthorization {
    std::string desktopRequestCode;
    // Always empty; kept so the record has the shape the screens know.
    std::wstring spare;
    std::wstring deviceName;
    bool answered = false;
};

} // namespace orvane::model
