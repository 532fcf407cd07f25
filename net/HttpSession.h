#pragma once

#include "net/HttpConnection.h"

#include <memory>
#include <string>

namespace valmora::net {

// How a session reaches the servers.
enum class ProxyRoute {
    Direct,   // no proxy, whatever the environment says
    System,   // the proxy the system is configured with
    Named,    // the one proxy given by name, for every host
};

// The HTTP stack's session: the agent's name and the way to the servers.
// The stack in use is chosen at build time; open() is defined beside it.
class HttpSession {
public:
    virtual ~HttpSession() = default;

    // Null when the stack cannot open a session.
    static std::unique_ptr<HttpSession> open(const std::wstring& agent, ProxyRoute route,
                                             const std::wstring& proxyName);

    // Null when no connection could be made.
    virtual std::unique_ptr<HttpConnection> connect(const std::wstring& host, unsigned port) = 0;
};

} // namespace valmora::net
