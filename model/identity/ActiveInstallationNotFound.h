#pragma once

#include "model/identity/BaseException.h"

#include <string>

namespace orvane::model {

// No installation of the identity matches the service address that the
// configuration names now. `what` names the side that was looked for.
class ActiveInstallationNotFound : public BaseException {
public:
    explicit ActiveInstallationNotFound(const std::string& what);
};

} // namespace orvane::model
