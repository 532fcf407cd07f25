#include "net/curl/CurlRequest.h"

#include "config/TextCodec.h"
#include "net/curl/CurlConnection.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <algorithm>
#include <cstring>

namespace valmora::net {

namespace {

std::string joined(const std::vector<std::wstring>& types)
{
    std::string text;
    for (const std::wstring& type : types) {
        if (!text.empty())
            text += ", ";
        text += orvane::model::toUtf8(type);
    }
    return text;
}

// Appends each "Name: value" line of the caller's header text.
void appendHeaderLines(CurlSlistPtr& list, const std::string& text, bool& hasContentType)
{
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find("\r\n", start);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = text.substr(start, end - start);
        if (!line.empty()) {
            if (boost::algorithm::istarts_with(line, "content-type:"))
                hasContentType = true;
            list.reset(curl_slist_append(list.release(), line.c_str()));
        }
        start = end + 2;
    }
}

} // namespace

CurlRequest::CurlRequest(CurlConnection& connection, RequestLine line)
    : connection_(&connection), line_(std::move(line))
{
}

CurlRequest::~CurlRequest() = default;

HttpAttempt CurlRequest::send(const std::wstring& headerText, const signer::Bytes& body)
{
    CURL* handle = connection_->prepareHandle();

    std::string path = orvane::model::toUtf8(line_.path);
    if (path.empty() || path.front() != '/')
        path.insert(path.begin(), '/');
    const std::string url = std::string(line_.secure ? "https://" : "http://") + connection_->host()
        + ":" + std::to_string(connection_->port()) + path;
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());

    CurlSlistPtr headers;
    bool hasContentType = false;
    appendHeaderLines(headers, orvane::model::toUtf8(headerText), hasContentType);
    const std::string accept = "Accept: " + joined(line_.acceptTypes);
    headers.reset(curl_slist_append(headers.release(), accept.c_str()));
    // Only what the caller set goes out: no form content type of libcurl's
    // own, and no "Expect: 100-continue" round before a larger body.
    if (!hasContentType)
        headers.reset(curl_slist_append(headers.release(), "Content-Type:"));
    headers.reset(curl_slist_append(headers.release(), "Expect:"));
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());

    static const char noBody[] = "";
    if (line_.verb == L"GET") {
        curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    } else {
        curl_easy_setopt(handle, CURLOPT_POST, 1L);
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS,
                         body.empty() ? noBody : reinterpret_cast<const char*>(body.data()));
        if (line_.verb != L"POST")
            curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, orvane::model::toUtf8(line_.verb).c_str());
    }
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, line_.followRedirects ? 1L : 0L);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, 10L);

    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &CurlRequest::onBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &CurlRequest::onHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);

    status_ = 0;
    headers_.clear();
    body_.clear();
    readOffset_ = 0;

    const CURLcode code = curl_easy_perform(handle);

    // The options point into this frame; nothing may follow them later.
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, nullptr);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, nullptr);
    curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, nullptr);

    long responseCode = 0;
    long connectCode = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &responseCode);
    curl_easy_getinfo(handle, CURLINFO_HTTP_CONNECTCODE, &connectCode);

    // An answer counts whatever libcurl returned: a proxy may close the
    // connection right after its 407, and a body cut in the middle is still
    // an answer, whose short body the caller's parser judges. A tunnel the
    // proxy refused shows only in the CONNECT code.
    if (responseCode > 0)
        status_ = static_cast<std::uint32_t>(responseCode);
    else if (connectCode >= 300)
        status_ = static_cast<std::uint32_t>(connectCode);

    HttpAttempt attempt;
    attempt.answered = status_ != 0;
    if (!attempt.answered) {
        attempt.code = static_cast<long>(code);
        attempt.text = orvane::model::widenBytes(curl_easy_strerror(code));
    }
    return attempt;
}

std::optional<std::string> CurlRequest::header(const std::string& name) const
{
    const auto found = headers_.find(boost::algorithm::to_lower_copy(name));
    if (found == headers_.end())
        return std::nullopt;
    return found->second;
}

std::size_t CurlRequest::read(char* buffer, std::size_t size)
{
    const std::size_t count = std::min(size, body_.size() - readOffset_);
    std::memcpy(buffer, body_.data() + readOffset_, count);
    readOffset_ += count;
    return count;
}

std::size_t CurlRequest::onBody(char* data, std::size_t size, std::size_t count, void* self)
{
    static_cast<CurlRequest*>(self)->body_.append(data, size * count);
    return size * count;
}

std::size_t CurlRequest::onHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    auto* request = static_cast<CurlRequest*>(self);
    const std::string line(data, size * count);
    // Each status line starts a new response (proxy tunnel, redirect, 100):
    // only the headers of the last one describe the answer.
    if (boost::algorithm::starts_with(line, "HTTP/")) {
        request->headers_.clear();
        return size * count;
    }
    std::string name;
    std::string value;
    if (splitHeaderLine(line, name, value))
        request->headers_.emplace(std::move(name), std::move(value));
    return size * count;
}

bool CurlRequest::splitHeaderLine(const std::string& line, std::string& name, std::string& value)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos)
        return false;
    name = boost::algorithm::to_lower_copy(line.substr(0, colon));
    boost::algorithm::trim(name);
    value = line.substr(colon + 1);
    boost::algorithm::trim(value);
    return true;
}

} // namespace valmora::net
