#pragma once

#include "config/ProxySettings.h"
#include "net/HttpConnection.h"
#include "net/HttpResponseInfo.h"
#include "net/HttpSession.h"
#include "net/HttpSource.h"
#include "signer/Encoding.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace valmora::net {

class HttpClientDownloader;

// What a client is made of: the parsed URL, the request being prepared, the
// proxy settings read for it, and the HTTP stack's session and connection.
class HttpClientDownloaderImpl {
public:
    HttpClientDownloaderImpl(HttpClientDownloader* owner, const std::wstring& url,
                             std::uint32_t timeout, bool followRedirects);
    ~HttpClientDownloaderImpl();
    HttpClientDownloaderImpl(const HttpClientDownloaderImpl&) = delete;
    HttpClientDownloaderImpl& operator=(const HttpClientDownloaderImpl&) = delete;

    bool isInvalid() const { return !valid_; }
    void setMethod(int method) { method_ = method; }
    void addAccept(const std::wstring& type);
    void setHeader(const std::wstring& name, const std::wstring& value) { headers_[name] = value; }
    void setBody(const signer::Bytes& body) { body_ = body; }
    std::istream& openStream(const std::wstring& subPath);
    HttpResponseInfo responseInfo();

    // The URL's scheme, host, port and path. Throws as the client's
    // constructor says.
    struct ParsedUrl {
        std::wstring host;
        unsigned port = 80;
        std::wstring path;
        bool secure = false;
    };
    static ParsedUrl parseUrl(const std::wstring& url);

    // The URL's path and a sub-path, with one "/" between them when needed.
    static std::wstring joinPath(const std::wstring& path, const std::wstring& subPath);

    // The text of an answer's header for the response facts. Absent, too
    // long to be read, or holding control characters that no header value
    // may hold (and that the identity document could not keep): empty.
    static std::wstring headerValue(const std::optional<std::string>& value);

private:
    void setUp();
    bool proxyModeInUse() const;

    bool valid_ = true;
    std::wstring host_;
    unsigned port_ = 80;
    std::wstring path_;
    bool secure_ = false;
    int method_ = 0;
    signer::Bytes body_;
    std::vector<std::wstring> acceptTypes_;
    std::map<std::wstring, std::wstring> headers_;
    std::uint32_t timeout_;
    bool followRedirects_;
    orvane::model::ProxySettings proxy_;
    std::wstring streamSubPath_;
    std::unique_ptr<HttpStream> stream_;
    [[maybe_unused]] HttpClientDownloader* owner_;
    std::unique_ptr<HttpSession> session_;
    std::unique_ptr<HttpConnection> connection_;
};

} // namespace valmora::net
