#pragma once

#include <string>

namespace orvane::model {

// What a caller hands to a signature strategy to be allowed to sign: the
// code of this computer at the service (the Kestrel installation code or the
// Harrier desktop code) and the name of this computer's own key, which signs
// the requests. Never kept by the identity.
class UserAuthentication {
public:
    UserAuthentication() = default;
    UserAuthentication(std::wstring code, std::wstring keyName);
    virtual ~UserAuthentication() = default;

    std::wstring code;
    std::wstring keyName;
};

} // namespace orvane::model
