#include "model/harrier/UserAuthentication.h"

#include <utility>

namespace orvane::model {

UserAuthentication::UserAuthentication(std::wstring code, std::wstring keyName)
    : code(std::move(code))
    , keyName(std::move(keyName))
{
}

} // namespace orvane::model
