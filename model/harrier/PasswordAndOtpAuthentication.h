#pragma once

#include "model/harrier/UserAuthentication.h"

#include <string>

namespace orvane::model {

// Opens a Harrier signing session: the key's PIN and a one-time code, or a
// push to the person's phone instead of the code.
class PasswordAndOtpAuthentication : public UserAuthentication {
public:
    using UserAuthentication::UserAuthentication;

    std::wstring pin;
    std::wstring otp;
    std::wstring applicationName;
    bool push = false;
};

} // namespace orvane::model
