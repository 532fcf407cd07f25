#pragma once

#include "net/HttpRequest.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace valmora::net {

// What a request is before anything is sent: the verb, the path on the
// connection's host, the accepted types in order ("*/*" included by the
// caller) and how it should travel.
struct RequestLine {
    std::wstring verb;
    std::wstring path;
    std::vector<std::wstring> acceptTypes;
    bool secure = false;
    bool followRedirects = true;
};

// A connection of the HTTP stack to one host and port. It carries the
// settings that every request on it shares.
class HttpConnection {
public:
    virtual ~HttpConnection() = default;

    // Time-out for connecting and for each phase of receiving or sending.
    virtual void setTimeout(std::uint32_t milliseconds) = 0;

    // Credentials offered to the proxy from now on, by every request.
    virtual void setProxyCredentials(const std::wstring& user, const std::wstring& password) = 0;

    // Null when the stack cannot make one; lastFailure() then tells why.
    virtual std::unique_ptr<HttpRequest> openRequest(const RequestLine& line) = 0;

    virtual HttpAttempt lastFailure() const = 0;
};

} // namespace valmora::net
