#pragma once

#include "model/harrier/HarrierInstallation.h"

#include <cstdint>
#include <memory>
#include <string>

namespace orvane::model {

// Outcome of joining a Harrier account: the registered installation (null
// unless both the login and the registration succeeded), and the message and
// status of the last call made.
struct HarrierRegistrationResult {
    std::shared_ptr<HarrierInstallation> installation;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
