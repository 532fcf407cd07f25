#include "net/curl/CurlSession.h"

#include "config/TextCodec.h"
#include "net/curl/CurlConnection.h"

#include <curl/curl.h>

#include <mutex>

namespace valmora::net {

namespace {

// libcurl wants its global set-up done once, before any handle and not
// concurrently with another thread's; sessions are opened from any worker.
bool curlReady()
{
    static std::once_flag once;
    static bool ready = false;
    std::call_once(once, [] { ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
    return ready;
}

} // namespace

std::unique_ptr<HttpSession> HttpSession::open(const std::wstring& agent, ProxyRoute route,
                                               const std::wstring& proxyName)
{
    if (!curlReady())
        return nullptr;
    return std::make_unique<CurlSession>(orvane::model::toUtf8(agent), route,
                                         orvane::model::toUtf8(proxyName));
}

CurlSession::CurlSession(std::string agent, ProxyRoute route, std::string proxyName)
    : agent_(std::move(agent)), route_(route), proxyName_(std::move(proxyName))
{
}

std::unique_ptr<HttpConnection> CurlSession::connect(const std::wstring& host, unsigned port)
{
    CurlEasyPtr handle(curl_easy_init());
    if (!handle)
        return nullptr;
    return std::make_unique<CurlConnection>(std::move(handle), agent_, route_, proxyName_,
                                            orvane::model::toUtf8(host), port);
}

} // namespace valmora::net
