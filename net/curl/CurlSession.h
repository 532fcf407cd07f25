#pragma once

#include "net/HttpSession.h"

#include <string>

namespace valmora::net {

// A session on libcurl holds no handle of its own: it is the agent's name and
// the proxy route that each connection's easy handle is given.
class CurlSession : public HttpSession {
public:
    CurlSession(std::string agent, ProxyRoute route, std::string proxyName);

    std::unique_ptr<HttpConnection> connect(const std::wstring& host, unsigned port) override;

private:
    std::string agent_;
    ProxyRoute route_;
    std::string proxyName_;
};

} // namespace valmora::net
