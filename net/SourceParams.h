#pragma once

#include "config/ProxySettings.h"
#include "signer/Encoding.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace valmora::net {

class HttpConnection;
class HttpSession;

// The client's state a request is made from. The session and the connection
// belong to the client and outlive the request.
struct SourceParams {
    HttpSession* session = nullptr;
    HttpConnection* connection = nullptr;
    bool secure = false;
    bool followRedirects = true;
    std::wstring verb;
    std::wstring host;
    unsigned port = 0;
    std::wstring path;   // the URL's path joined with the sub-path
    signer::Bytes body;
    std::vector<std::wstring> acceptTypes;
    std::map<std::wstring, std::wstring> headers;
    std::uint32_t timeout = 60000;
    orvane::model::ProxySettings proxy;
};

} // namespace valmora::net
