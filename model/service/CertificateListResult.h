#pragma once

#include <cstdint>
#include <string>

namespace orvane::model {

// Outcome of a certificate listing at either service.
struct CertificateListResult {
    enum Change : std::int32_t { Failed = 0, NotModified = 1, NewList = 2 };

    std::int32_t changed = Failed;
    std::string message;
    // 0 the service was reached, 1 it was not.
    std::int32_t status = 0;
};

} // namespace orvane::model
