#include "net/HostNotFoundException.h"

#include "config/TextCodec.h"

namespace valmora::net {

HostNotFoundException::HostNotFoundException(const std::wstring& text)
    : text_(orvane::model::toUtf8(text) + ": Unreachable")
{
}

HostNotFoundException::~HostNotFoundException() = default;

const char* HostNotFoundException::what() const noexcept
{
    return text_.c_str();
}

} // namespace valmora::net
