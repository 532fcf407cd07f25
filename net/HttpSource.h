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

    // Runs the exchange to its end on the calling thread.
    static void sendRequest(const SourceParams& params, RequestState& state);

private:
    RequestState state_;
};

// The stream a client hands out: 4096 bytes of buffer and 4 of put-back.
using HttpStream = boost::iostreams::stream<HttpSource>;

} // namespace valmora::net
