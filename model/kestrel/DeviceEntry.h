#pragma once

#include <string>

namespace orvane::model {

// A phone that the Kestrel service knows for an identity.
struct DeviceEntry {
    std::wstring deviceName;
    std::wstring deviceCode;
    // The phone is already paired with this computer.
    bool alreadyExist = false;
};

} // namespace orvane::model
