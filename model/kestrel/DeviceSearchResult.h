#pragma once

#include "model/kestrel/DeviceEntry.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orvane::model {

// The phones of an identity, or the service's refusal (status 0) or the
// failure to reach it (status 1).
struct DeviceSearchResult {
    std::vector<DeviceEntry> devices;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
