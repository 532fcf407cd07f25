#include "provider/signing/LoginText.h"

#include <algorithm>
#include <cctype>

namespace orvane::provider {

std::optional<LoginText> LoginText::parse(const std::string& text, const std::wstring& authorizationMode)
{
    LoginText login;
    const std::size_t colon = text.rfind(':');
    const std::string code = colon == std::string::npos ? std::string() : text.substr(colon + 1);
    const bool hasCode = !code.empty() && std::all_of(code.begin(), code.end(), [](unsigned char c) {
        return std::isdigit(c) != 0;
    });
    if (hasCode) {
        login.pin = text.substr(0, colon);
        login.otp = code;
    } else if (authorizationMode == L"push") {
        login.pin = text;
        login.push = true;
    } else {
        return std::nullopt;
    }
    if (login.pin.empty())
        return std::nullopt;
    return login;
}

} // namespace orvane::provider
