#pragma once

#include "model/harrier/UserAuthentication.h"

#include <string>

namespace orvane::model {

// Signs under an open Harrier session; the caller keeps the token for as
// long as the service accepts it.
class SessionTokenAuthentication : public UserAuthentication {
public:
    using UserAuthentication::UserAuthentication;

    std::wstring sessionToken;
};

} // namespace orvane::model
