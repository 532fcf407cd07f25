#pragma once

#include <cstdint>
#include <string>

namespace orvane::model {

// Result of opening a signing session: the token, or the service's message;
// status 1 when the service could not be reached.
struct SessionOpening {
    std::wstring token;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
