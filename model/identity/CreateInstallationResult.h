#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace orvane::model {

class Orvane;

// Outcome of enrolling this computer: the saved identity, or none with the
// service's refusal (status 0) or the failure to reach it (status 1).
struct CreateInstallationResult {
    std::unique_ptr<Orvane> aggregate;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
