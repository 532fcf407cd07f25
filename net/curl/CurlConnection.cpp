#include "net/curl/CurlConnection.h"

#include "config/TextCodec.h"
#include "net/curl/CurlRequest.h"
#include "net/curl/RelaxedCertificateRule.h"

#include <algorithm>

namespace valmora::net {

CurlConnection::CurlConnection(CurlEasyPtr handle, std::string agent, ProxyRoute route,
                               std::string proxyName, std::string host, unsigned port)
    : handle_(std::move(handle)),
      agent_(std::move(agent)),
      route_(route),
      proxyName_(std::move(proxyName)),
      host_(std::move(host)),
      port_(port)
{
}

void CurlConnection::setTimeout(std::uint32_t milliseconds)
{
    timeout_ = milliseconds;
}

void CurlConnection::setProxyCredentials(const std::wstring& user, const std::wstring& password)
{
    proxyUser_ = orvane::model::toUtf8(user);
    proxyPassword_ = orvane::model::toUtf8(password);
}

std::unique_ptr<HttpRequest> CurlConnection::openRequest(const RequestLine& line)
{
    return std::make_unique<CurlRequest>(*this, line);
}

HttpAttempt CurlConnection::lastFailure() const
{
    // Opening a request on libcurl cannot fail: the easy handle exists.
    return {};
}

CURL* CurlConnection::prepareHandle()
{
    CURL* handle = handle_.get();
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_USERAGENT, agent_.c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    // The services speak HTTP/1.1; without this, libcurl would offer HTTP/2
    // to every TLS server that supports it and speak that instead.
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));

    switch (route_) {
    case ProxyRoute::Direct:
        // An empty proxy name also silences the proxy variables of the
        // environment, which only the system route may follow.
        curl_easy_setopt(handle, CURLOPT_PROXY, "");
        break;
    case ProxyRoute::System:
        // Leaving the proxy unset makes libcurl read http_proxy, https_proxy,
        // all_proxy and no_proxy: the system's configuration on Linux.
        break;
    case ProxyRoute::Named:
        curl_easy_setopt(handle, CURLOPT_PROXY, proxyName_.c_str());
        curl_easy_setopt(handle, CURLOPT_NOPROXY, "");
        break;
    }
    if (!proxyUser_.empty() || !proxyPassword_.empty()) {
        curl_easy_setopt(handle, CURLOPT_PROXYUSERNAME, proxyUser_.c_str());
        curl_easy_setopt(handle, CURLOPT_PROXYPASSWORD, proxyPassword_.c_str());
        curl_easy_setopt(handle, CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_ANY));
    }

    // The receive and send time-outs become a low-speed limit: less than one
    // byte a second for the whole period ends the transfer.
    const long seconds = std::max<long>(1, static_cast<long>((timeout_ + 999) / 1000));
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout_));
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, seconds);

    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, &installRelaxedCertificateRule);
    curl_easy_setopt(handle, CURLOPT_SSL_CTX_DATA, nullptr);
    return handle;
}

} // namespace valmora::net
