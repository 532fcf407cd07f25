#pragma once

#include "net/HttpConnection.h"
#include "net/HttpRequest.h"
#include "net/curl/CurlHandles.h"

#include <map>
#include <string>

namespace valmora::net {

class CurlConnection;

// A request on a connection's easy handle. libcurl runs the whole exchange in
// one perform, so the answer (status, headers of the final response, body) is
// kept here and read from memory afterwards; the request then needs nothing
// of the connection and may outlive it.
class CurlRequest : public HttpRequest {
public:
    CurlRequest(CurlConnection& connection, RequestLine line);
    ~CurlRequest() override;

    HttpAttempt send(const std::wstring& headerText, const signer::Bytes& body) override;
    std::uint32_t status() const override { return status_; }
    std::optional<std::string> header(const std::string& name) const override;
    std::size_t read(char* buffer, std::size_t size) override;

    // One header line of an answer as libcurl hands it over: the name in
    // lower case and the value, both without surrounding blanks. False for
    // a line without ":".
    static bool splitHeaderLine(const std::string& line, std::string& name, std::string& value);

private:
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);

    CurlConnection* connection_;
    RequestLine line_;
    std::uint32_t status_ = 0;
    std::multimap<std::string, std::string> headers_;   // names in lower case
    std::string body_;
    std::size_t readOffset_ = 0;
};

} // namespace valmora::net
