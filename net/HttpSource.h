#pragma once

#include "net/RequestState.h"
#include "net/SourceParams.h"

#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/stream.hpp>

#include <ios>

namespace valmora::net {

// The input device behind a client's stream. Building one issues the request
// and answers the proxy's demands for credentials; only an answered request
// becomes a source, whose body the stream then reads.
class HttpSource {
public:
    using char_type = char;
    struct category : boost::iostreams::source_tag, boost::iostreams::closable_tag {};

    // Throws HostNotFoundException when no answer was obtained, and the
    // numeric conversion library's overflow failure for a body or header
    // text beyond 32-bit lengths.
    explicit HttpSource(const SourceParams& params);

    std::streamsize read(char* buffer, std::streamsize size);
    void close();

    // The answered request, for the response facts.
    const HttpRequest* request() const { return state_.request.get(); }

    // One pass of the exchange: opens the request if needed and sends it.
    // True when the answer is a proxy's demand for credentials.
    static bool sendRequest(const SourceParams& params, RequestState& state);

    // Asks the user for the proxy's credentials after a 407. True when the
    // same request should be sent again with them; false when the user
    // cancelled (the state is then failed) or left a field empty (the 407
    // stands).
    static bool answerProxyDemand(const SourceParams& params, RequestState& state);

private:
    RequestState state_;
};

// The stream a client hands out: 4096 bytes of buffer and 4 of put-back.
using HttpStream = boost::iostreams::stream<HttpSource>;

} // namespace valmora::net
