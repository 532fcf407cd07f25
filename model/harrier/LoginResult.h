#pragma once

#include "model/harrier/HarrierInstallation.h"

#include <cstdint>
#include <memory>
#include <string>

namespace orvane::model {

// Outcome of a Harrier login: the token for the one registration that
// follows and the account's new installation (null on failure).
struct LoginResult {
    std::wstring token;
    std::shared_ptr<HarrierInstallation> installation;
    std::string message;
    std::int32_t status = 0;
};

} // namespace orvane::model
