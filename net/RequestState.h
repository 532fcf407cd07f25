#pragma once

#include "net/HttpRequest.h"

#include <memory>
#include <string>

namespace valmora::net {

// What the request thread hands back: the answered request, or why there is
// none. Copies share the request.
struct RequestState {
    std::shared_ptr<HttpRequest> request;
    bool failed = false;
    std::wstring message;
};

} // namespace valmora::net
