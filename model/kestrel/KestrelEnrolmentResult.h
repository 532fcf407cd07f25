#pragma once

#include "model/kestrel/KestrelInstallation.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvane::model {

// Outcome of enrolling this computer at the Kestrel service: the new
// installation, or the service's refusal (status 0) or the failure to reach
// it (status 1) as a message.
struct KestrelEnrolmentResult {
    std::optional<KestrelInstallation> installation;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
