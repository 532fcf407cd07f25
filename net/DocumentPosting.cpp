#include "net/DocumentPosting.h"

#include "config/TextCodec.h"
#include "net/HostNotFoundException.h"
#include "net/HttpClientDownloader.h"
#include "signer/Encoding.h"
#include "signer/Exceptions.h"
#include "signer/SystemRepository.h"

#include <algorithm>
#include <regex>
#include <sstream>

namespace valmora::net {

namespace {

const char* const signatureDigest = "SHA256";

// Every request text: JsonCpp's stream writer with its defaults (tab
// indentation, members by name, UTF-8), so that what is signed is exactly
// what the server receives.
std::string jsonText(const Json::Value& document)
{
    const Json::StreamWriterBuilder builder;
    return Json::writeString(builder, document);
}

signer::Bytes bytesOf(const std::string& text)
{
    return signer::Bytes(text.begin(), text.end());
}

signer::Bytes sign(const std::string& message, const std::wstring& keyName)
{
    return signer::SystemRepository::processWide().signWithNamedKey(bytesOf(message), keyName, signatureDigest);
}

DocumentOutcome offline(Json::Value& reply, const std::string& text)
{
    reply["mensagem"] = text;
    return {1, 0};
}

void prepare(HttpClientDownloader& client, const std::wstring& lastModified)
{
    client.setMethod(1);
    client.addAccept(L"application/json");
    client.setContentType(L"application/json");
    if (!lastModified.empty())
        client.setIfModifiedSince(lastModified);
}

// postDocument, and postAuthorizedDocument when an Authorization value is
// given.
DocumentOutcome postPlain(const std::wstring& url, const std::wstring* authorization, const Json::Value& request,
                          Json::Value& reply, std::wstring& lastModified, std::int64_t& freshnessSeconds)
{
    try {
        HttpClientDownloader client(url);
        if (client.isInvalid()) {
            if (authorization)
                return offline(reply, orvane::model::toUtf8(url) + " - Erro de conex\xC3\xA3o");
            throw HostNotFoundException(url + L" - Connection error");
        }
        prepare(client, lastModified);
        if (authorization)
            client.setAuthorization(*authorization);
        client.setBody(bytesOf(jsonText(request)));

        std::istream& body = client.openStream(L"");
        const HttpResponseInfo info = client.responseInfo();
        const int status = info.httpStatus;
        std::string errors;
        if (status / 100 == 2) {
            if (!parseDocument(body, reply, errors))
                throw signer::BaseException(errors);
            lastModified = info.lastModified;
        } else {
            // Error answers usually explain themselves in JSON; when they do
            // not, the status alone has to do.
            Json::Value answer;
            if (parseDocument(body, answer, errors))
                reply = answer;
        }
        if (status / 100 == 2 || status / 100 == 3)
            readFreshness(info.cacheControl, freshnessSeconds);
        return {0, static_cast<std::uint16_t>(status)};
    } catch (const HostNotFoundException& failure) {
        return offline(reply, failure.what());
    }
}

} // namespace

DocumentOutcome postDocument(const std::wstring& url, const Json::Value& request, Json::Value& reply,
                             std::wstring& lastModified, std::int64_t& freshnessSeconds)
{
    return postPlain(url, nullptr, request, reply, lastModified, freshnessSeconds);
}

DocumentOutcome postAuthorizedDocument(const std::wstring& url, const std::wstring& authorization,
                                       const Json::Value& request, Json::Value& reply,
                                       std::wstring& lastModified, std::int64_t& freshnessSeconds)
{
    return postPlain(url, &authorization, request, reply, lastModified, freshnessSeconds);
}

DocumentOutcome postSignedEnvelope(const std::wstring& url, const std::wstring& keyName,
                                   const Json::Value& request, Json::Value& reply, std::wstring& lastModified)
{
    try {
        HttpClientDownloader client(url);
        if (client.isInvalid())
            throw HostNotFoundException(url + L" - Connection error");
        prepare(client, lastModified);

        const std::string message = jsonText(request);
        Json::Value envelope;
        envelope["contentData"] = message;
        envelope["signature"] = signer::base64Encode(sign(message, keyName));
        client.setBody(bytesOf(jsonText(envelope)));

        std::istream& body = client.openStream(L"");
        const HttpResponseInfo info = client.responseInfo();
        const int status = info.httpStatus;
        std::string errors;
        if (status / 100 == 2) {
            Json::Value answer;
            if (!parseDocument(body, answer, errors))
                throw signer::BaseException(errors);
            lastModified = info.lastModified;
            reply = envelopeContent(answer);
        } else {
            Json::Value answer;
            if (parseDocument(body, answer, errors))
                reply = answer;
        }
        return {0, static_cast<std::uint16_t>(status)};
    } catch (const HostNotFoundException& failure) {
        return offline(reply, failure.what());
    }
}

DocumentOutcome postBearerSigned(const std::wstring& url, const std::wstring& keyName,
                                 const Json::Value& request, Json::Value& reply, std::wstring& lastModified)
{
    const std::wstring authorization = L"Bearer " + makeBearerToken(request, keyName);
    std::int64_t unusedFreshness = 0;
    return postAuthorizedDocument(url, authorization, request, reply, lastModified, unusedFreshness);
}

std::wstring makeBearerToken(const Json::Value& request, const std::wstring& keyName)
{
    std::ostringstream flattened;
    flattenDocument(flattened, request);
    return orvane::model::fromUtf8(signer::base64Encode(sign(flattened.str(), keyName)));
}

bool parseDocument(std::istream& in, Json::Value& document, std::string& errors)
{
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    return Json::parseFromStream(builder, in, &document, &errors);
}

Json::Value envelopeContent(const Json::Value& envelope)
{
    const std::string content = envelope.isObject() ? envelope.get("contentData", "").asString() : std::string();
    std::istringstream contentStream(content);
    Json::Value inner;
    std::string errors;
    if (parseDocument(contentStream, inner, errors))
        return inner;
    return Json::Value(content);
}

void readFreshness(const std::wstring& cacheControl, std::int64_t& freshnessSeconds)
{
    static const std::wregex maxAge(L"max-age=(\\d+)");
    std::wsmatch match;
    if (!std::regex_search(cacheControl, match, maxAge))
        return;
    // As HTTP caches do, a number of seconds too large to hold counts as
    // 2^31: a server's typo must not fail the call, and the expiry time that
    // callers add it to stays far from overflowing.
    constexpr std::int64_t longest = std::int64_t(1) << 31;
    std::int64_t seconds = 0;
    for (const wchar_t digit : match[1].str())
        seconds = std::min(seconds * 10 + (digit - L'0'), longest);
    freshnessSeconds = seconds;
}

void flattenDocument(std::ostream& out, const Json::Value& document)
{
    if (document.isArray()) {
        for (const Json::Value& element : document)
            flattenDocument(out, element);
        return;
    }
    if (!document.isObject())
        return;
    std::vector<std::string> names = document.getMemberNames();
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const Json::Value& member = document[name];
        switch (member.type()) {
        case Json::stringValue:
            out << member.asString();
            break;
        case Json::booleanValue:
            if (member.asBool())
                out << name;
            break;
        case Json::intValue:
        case Json::uintValue:
        case Json::realValue:
            out << member.asInt64();
            break;
        case Json::arrayValue:
        case Json::objectValue:
            flattenDocument(out, member);
            break;
        case Json::nullValue:
            break;
        }
    }
}

} // namespace valmora::net
