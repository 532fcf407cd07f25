#pragma once

#include <string>

namespace orvane::model {

// What a person types to add a Harrier account. Used for one login and
// never stored.
struct UserCredentials {
    std::wstring email;
    // The organisation's access address as typed; sent as "urlAcesso".
    std::wstring organizationSubdomain;
    std::wstring password;
};

} // namespace orvane::model
