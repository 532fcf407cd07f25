#pragma once

#include <cstdint>
#include <string>

namespace orvane::model {

// Outcome of a catalogue fetch: a message to show, and status 1 when the
// service could not be reached or answered with a wrong status.
struct HierarchyRefreshResult {
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
