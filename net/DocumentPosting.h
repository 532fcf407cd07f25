#pragma once

// The four ways of posting a JSON document to the services, and with them
// the authentication of every call: plain, with an Authorization value made
// by the caller, wrapped in an envelope signed with the agent's key, or with
// a bearer token that is a signature of the request.
//
// A network failure never leaves these functions as an exception: it comes
// back as offline 1, with its text in the reply's "mensagem". What does leave
// them: a URL that cannot be parsed (std::runtime_error, boost's bad cast),
// a 2xx answer whose body is not JSON (signer::BaseException with the
// parser's text), and any failure of the key when signing.
//
// The last-modified mark goes in and out: when not empty it makes the request
// conditional, and a 2xx answer overwrites it with the answer's Last-Modified
// (empty when the answer has none). The freshness seconds are written only
// when a 2xx or 3xx answer's Cache-Control holds max-age.

#include "net/DocumentOutcome.h"

#include <json/json.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace valmora::net {

DocumentOutcome postDocument(const std::wstring& url, const Json::Value& request, Json::Value& reply,
                             std::wstring& lastModified, std::int64_t& freshnessSeconds);

DocumentOutcome postAuthorizedDocument(const std::wstring& url, const std::wstring& authorization,
                                       const Json::Value& request, Json::Value& reply,
                                       std::wstring& lastModified, std::int64_t& freshnessSeconds);

// Posts {"contentData": <request as text>, "signature": <base64>}, the
// signature covering exactly the bytes of contentData. A 2xx answer is an
// envelope too: its contentData, parsed, is the reply (or, when it is not
// JSON, a JSON string holding it). Other answers are plain documents.
DocumentOutcome postSignedEnvelope(const std::wstring& url, const std::wstring& keyName,
                                   const Json::Value& request, Json::Value& reply,
                                   std::wstring& lastModified);

// postAuthorizedDocument with "Bearer " and makeBearerToken(request).
DocumentOutcome postBearerSigned(const std::wstring& url, const std::wstring& keyName,
                                 const Json::Value& request, Json::Value& reply,
                                 std::wstring& lastModified);

// Base64 of the signature (SHA-256, the named key of the system repository)
// of the request's flattened form.
std::wstring makeBearerToken(const Json::Value& request, const std::wstring& keyName);

// The form of a request that a bearer token covers, one the server can
// rebuild from the request it received: the members of an object in
// ascending order of name, each by its type - a string as it is, true as the
// member's name and false as nothing, a number as a signed 64-bit integer in
// decimal, an array element by element, an object by this same rule, and
// nothing for null - with nothing between the pieces. An array given here is
// flattened element by element; any other value that is not an object
// contributes nothing.
void flattenDocument(std::ostream& out, const Json::Value& document);

// How every answer body is read: JsonCpp's reader without comments. False,
// with the reader's text in `errors`, when the body is no JSON.
bool parseDocument(std::istream& in, Json::Value& document, std::string& errors);

// The reply that a 2xx envelope carries: its "contentData" parsed, or, when
// that is no JSON, a JSON string holding the text itself.
Json::Value envelopeContent(const Json::Value& envelope);

// The freshness that a Cache-Control value grants: its first max-age, in
// seconds, at most 2^31. Left as it is when the value has none.
void readFreshness(const std::wstring& cacheControl, std::int64_t& freshnessSeconds);

} // namespace valmora::net
