#include "net/HttpClientDownloaderImpl.h"

#include "config/TextCodec.h"
#include "net/ProxyCredentials.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/lexical_cast.hpp>

#include <algorithm>
#include <regex>
#include <stdexcept>

namespace valmora::net {

namespace {

const wchar_t* const agentName = L"Orvane_Provider";

// The longest header value the response facts take; a longer one reads as
// absent rather than cut.
constexpr std::size_t longestHeaderValue = 8184;

bool isControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7F;
}

std::wstring responseHeader(const HttpRequest& request, const char* name)
{
    return HttpClientDownloaderImpl::headerValue(request.header(name));
}

} // namespace

std::wstring HttpClientDownloaderImpl::headerValue(const std::optional<std::string>& value)
{
    if (!value || value->size() > longestHeaderValue || std::any_of(value->begin(), value->end(), isControl))
        return {};
    return orvane::model::widenBytes(*value);
}

HttpClientDownloaderImpl::HttpClientDownloaderImpl(HttpClientDownloader* owner, const std::wstring& url,
                                                   std::uint32_t timeout, bool followRedirects)
    : timeout_(timeout), followRedirects_(followRedirects), owner_(owner)
{
    const ParsedUrl parsed = parseUrl(url);
    host_ = parsed.host;
    port_ = parsed.port;
    path_ = parsed.path;
    secure_ = parsed.secure;
    proxy_ = orvane::model::loadProxySettings();
    setUp();
}

HttpClientDownloaderImpl::~HttpClientDownloaderImpl() = default;

HttpClientDownloaderImpl::ParsedUrl HttpClientDownloaderImpl::parseUrl(const std::wstring& url)
{
    static const std::wregex expression(L"(?:(.*)://)?([^:/]*)(?:\\:(\\d+))?(.*)");
    std::wsmatch match;
    if (!std::regex_match(url, match, expression) || match.size() != 5)
        throw std::runtime_error("Irregular URL");

    ParsedUrl parsed;
    if (match[1].matched) {
        const std::wstring scheme = match[1].str();
        if (boost::algorithm::iequals(scheme, L"http")) {
            parsed.port = 80;
            parsed.secure = false;
        } else if (boost::algorithm::iequals(scheme, L"https")) {
            parsed.port = 443;
            parsed.secure = true;
        } else {
            throw std::runtime_error("Only http or https supported");
        }
    }
    parsed.host = match[2].str();
    if (match[3].matched && match[3].length() > 0)
        parsed.port = boost::lexical_cast<std::uint16_t>(match[3].str());
    parsed.path = match[4].str();
    return parsed;
}

std::wstring HttpClientDownloaderImpl::joinPath(const std::wstring& path, const std::wstring& subPath)
{
    if (!path.empty() && !subPath.empty() && path.back() != L'/')
        return path + L"/" + subPath;
    return path + subPath;
}

bool HttpClientDownloaderImpl::proxyModeInUse() const
{
    return proxy_.enable && (proxy_.mode == L"2" || proxy_.mode == L"3");
}

void HttpClientDownloaderImpl::setUp()
{
    if (proxy_.enable && proxy_.mode == L"2")
        session_ = HttpSession::open(agentName, ProxyRoute::System, {});
    else if (proxy_.enable && proxy_.mode == L"3")
        session_ = HttpSession::open(agentName, ProxyRoute::Named, proxy_.addressHttps);

    if (session_ && proxy_.initialAuthenticate && proxyModeInUse() && proxyUserBuffer[0] == 0) {
        if (promptProxyCredentials() != 0) {
            wipeProxyCredential(proxyUserBuffer);
            wipeProxyCredential(proxyPasswordBuffer);
            valid_ = false;
            return;
        }
    }

    if (!session_) {
        session_ = HttpSession::open(agentName, ProxyRoute::Direct, {});
        if (!session_)
            valid_ = false;
    }
    if (session_)
        connection_ = session_->connect(host_, port_);
    if (!connection_) {
        valid_ = false;
        return;
    }

    // Whatever the user typed earlier in the run goes with every request
    // through the proxy, so that only the first client of the run asks.
    if (proxyModeInUse()) {
        const std::wstring user = proxyCredentialText(proxyUserBuffer);
        const std::wstring password = proxyCredentialText(proxyPasswordBuffer);
        if (!user.empty() && !password.empty())
            connection_->setProxyCredentials(user, password);
        else if (proxy_.initialAuthenticate)
            valid_ = false;
    }
}

void HttpClientDownloaderImpl::addAccept(const std::wstring& type)
{
    for (const std::wstring& present : acceptTypes_) {
        if (present == type)
            return;
    }
    acceptTypes_.push_back(type);
}

std::istream& HttpClientDownloaderImpl::openStream(const std::wstring& subPath)
{
    if (stream_ && streamSubPath_ == subPath)
        return *stream_;
    stream_.reset();

    SourceParams params;
    params.session = session_.get();
    params.connection = connection_.get();
    params.secure = secure_;
    params.followRedirects = followRedirects_;
    params.verb = method_ == 1 ? L"POST" : L"GET";
    params.host = host_;
    params.port = port_;
    params.path = joinPath(path_, subPath);
    params.body = body_;
    params.acceptTypes = acceptTypes_;
    params.headers = headers_;
    params.timeout = timeout_;
    params.proxy = proxy_;

    auto stream = std::make_unique<HttpStream>(HttpSource(params), 4096, 4);
    streamSubPath_ = subPath;
    stream_ = std::move(stream);
    return *stream_;
}

HttpResponseInfo HttpClientDownloaderImpl::responseInfo()
{
    openStream(streamSubPath_);
    HttpResponseInfo info;
    const HttpRequest* request = (*stream_)->request();
    if (!request)
        return info;

    const std::wstring length = responseHeader(*request, "Content-Length");
    if (!length.empty()) {
        try {
            info.contentLength = static_cast<std::int32_t>(boost::lexical_cast<std::uint32_t>(length));
        } catch (const boost::bad_lexical_cast&) {
            info.contentLength = 0;
        }
    }
    info.lastModified = responseHeader(*request, "Last-Modified");
    info.location = responseHeader(*request, "Location");
    info.httpStatus = static_cast<std::int32_t>(request->status());
    info.cacheControl = responseHeader(*request, "Cache-Control");
    return info;
}

} // namespace valmora::net
