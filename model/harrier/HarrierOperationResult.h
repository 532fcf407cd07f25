#pragma once

#include <cstdint>
#include <string>

namespace orvane::model {

// Outcome of a Harrier call that changes no list: a message to show, and
// status 1 when the service could not be reached.
struct HarrierOperationResult {
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
