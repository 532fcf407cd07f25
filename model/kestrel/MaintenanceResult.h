#pragma once

#include <cstdint>
#include <string>

namespace orvane::model {

// Outcome of removing phones from an identity: done, or the service's
// message; status 1 when the service could not be reached.
struct MaintenanceResult {
    bool done = false;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
