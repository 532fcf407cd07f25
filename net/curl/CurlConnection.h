#pragma once

#include "net/HttpConnection.h"
#include "net/HttpSession.h"
#include "net/curl/CurlHandles.h"

#include <cstdint>
#include <string>

namespace valmora::net {

// A connection on libcurl is one easy handle, owned here, with the settings
// every request on it shares: agent, proxy route and credentials, time-outs
// and the relaxed certificate rule. libcurl keeps the socket open between
// sends of the handle, which is what a request on an open connection needs.
class CurlConnection : public HttpConnection {
public:
    CurlConnection(CurlEasyPtr handle, std::string agent, ProxyRoute route, std::string proxyName,
                   std::string host, unsigned port);

    void setTimeout(std::uint32_t milliseconds) override;
    void setProxyCredentials(const std::wstring& user, const std::wstring& password) override;
    std::unique_ptr<HttpRequest> openRequest(const RequestLine& line) override;
    HttpAttempt lastFailure() const override;

    // The easy handle with the connection's settings applied; requests add
    // their own and perform it.
    CURL* prepareHandle();
    const std::string& host() const { return host_; }
    unsigned port() const { return port_; }

private:
    CurlEasyPtr handle_;
    std::string agent_;
    ProxyRoute route_;
    std::string proxyName_;
    std::string host_;
    unsigned port_;
    std::uint32_t timeout_ = 60000;
    std::string proxyUser_;
    std::string proxyPassword_;
};

} // namespace valmora::net
