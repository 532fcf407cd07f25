#pragma once

#include "config/ProxySettings.h"
#include "net/HttpResponseInfo.h"
#include "signer/Encoding.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <string>

namespace valmora::net {

class HttpClientDownloaderImpl;

// One HTTP exchange with one URL. A service call builds a client, reads the
// proxy settings afresh with it, sets the verb, accepted types, headers and
// body, then reads the answer as a stream and as response facts. Nothing is
// shared between clients but the proxy credentials typed during the run.
class HttpClientDownloader {
public:
    static constexpr std::uint32_t defaultTimeout = 60000;   // milliseconds, each phase

    // Parses the URL and sets up the connection; throws std::runtime_error
    // "Irregular URL" or "Only http or https supported", or
    // boost::bad_lexical_cast for a port beyond 16 bits. Any other set-up
    // failure only makes the client invalid.
    explicit HttpClientDownloader(const std::wstring& url);

    // The same with another time-out: the seam tests use to avoid waiting a
    // full minute. The service calls always use the constructor above.
    HttpClientDownloader(const std::wstring& url, std::uint32_t timeoutMilliseconds);

    bool isInvalid() const;
    void setMethod(int method);   // 0 GET, 1 POST
    void addAccept(const std::wstring& type);
    void setContentType(const std::wstring& value);
    void setIfModifiedSince(const std::wstring& value);
    void setAuthorization(const std::wstring& value);
    void setBody(const signer::Bytes& body);

    // Issues the request and returns the body's stream; the same sub-path
    // again returns the open stream without a second request. Throws
    // HostNotFoundException when no answer came.
    std::istream& openStream(const std::wstring& subPath);

    // The facts of the answer, issuing the request first if needed.
    HttpResponseInfo responseInfo();

private:
    std::shared_ptr<HttpClientDownloaderImpl> impl_;
    orvane::model::ProxySettings proxySettings_;
};

} // namespace valmora::net
