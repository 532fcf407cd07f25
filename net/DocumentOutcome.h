#pragma once

#include <cstdint>

namespace valmora::net {

// How one posting of a document went: whether any HTTP answer came, and
// its status. The service calls judge the status themselves.
struct DocumentOutcome {
    std::int32_t offline = 0;      // 1 when no HTTP answer was obtained
    std::uint16_t httpStatus = 0;  // 0 when offline
};

} // namespace valmora::net
