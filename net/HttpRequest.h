#pragma once

#include "signer/Encoding.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace valmora::net {

// What one send of a request came to. `answered` is true as soon as a server
// or a proxy gave an HTTP status, even when the body was cut afterwards; when
// it is false, `code` and `text` are the HTTP stack's own account of why.
struct HttpAttempt {
    bool answered = false;
    long code = 0;
    std::wstring text;
};

// One request of the HTTP stack, on the connection that opened it. It can be
// sent again after the connection's proxy credentials changed: that is how a
// proxy's 407 is answered with what the user typed.
class HttpRequest {
public:
    virtual ~HttpRequest() = default;

    // Sends the request with the given extra header lines ("Name: value",
    // separated by "\r\n") and body, and waits for the answer.
    virtual HttpAttempt send(const std::wstring& headerText, const signer::Bytes& body) = 0;

    // Status of the last answer; 0 when there was none.
    virtual std::uint32_t status() const = 0;

    // First value of a header of the last answer, as the server wrote it.
    virtual std::optional<std::string> header(const std::string& name) const = 0;

    // Up to `size` bytes of the body; 0 at its end.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

} // namespace valmora::net
