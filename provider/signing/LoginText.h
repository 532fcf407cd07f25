#pragma once

#include <optional>
#include <string>

namespace orvane::provider {

// What C_Login on a cloud account's token carries. A session at the cloud
// store needs the key's PIN and a one-time code, or the PIN alone where the
// account approves by a push to the person's phone. Both travel in the one
// PIN text of PKCS#11:
//
//   PIN:CODE   the key's PIN, a colon, the one-time code (digits only); the
//              code is what follows the last colon, so the PIN may hold
//              colons of its own
//   PIN        the PIN alone, only for an account whose mode is "push"
struct LoginText {
    std::string pin;
    std::string otp;
    bool push = false;

    // Nothing when the text has no code and the account is not in "push"
    // mode, or when the PIN part is empty.
    static std::optional<LoginText> parse(const std::string& text, const std::wstring& authorizationMode);
};

} // namespace orvane::provider
