#pragma once

#include <cstdint>
#include <string>

namespace valmora::net {

// The facts of a finished exchange that the posting functions look at. A
// header that is absent, or too long to be read, leaves its field empty.
struct HttpResponseInfo {
    std::int32_t contentLength = 0;   // 0 when the answer carries no Content-Length
    std::int32_t httpStatus = 0;
    std::wstring lastModified;
    std::wstring location;
    std::wstring cacheControl;
};

} // namespace valmora::net
