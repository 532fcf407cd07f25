#pragma once

#include "model/kestrel/DeviceAuthorization.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orvane::model {

// The requests made on the phones (with their answered flags after a wait),
// a message, and status 1 when the service could not be reached.
struct DeviceAuthorizationsResult {
    std::vector<DeviceAuthorization> authorizations;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
