#include "model/identity/BaseException.h"

#include <utility>

namespace orvane::model {

BaseException::BaseException(std::string message)
    : message_(std::move(message))
{
}

const char* BaseException::what() const noexcept
{
    return message_.c_str();
}

} // namespace orvane::model
