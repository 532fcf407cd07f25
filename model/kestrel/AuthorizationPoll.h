#pragma once

#include <cstdint>

namespace orvane::model {

// One look at a request: whether the phone approved it, and status 1 when
// the service could not be reached.
struct AuthorizationPoll {
    bool authorized = false;
    std::int32_t status = 0;
};

} // namespace orvane::model
