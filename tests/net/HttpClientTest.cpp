// The HTTP client against real local servers over plain HTTP: URL parsing,
// what goes on the wire, what comes back, and how failures read.

#include "net/HostNotFoundException.h"
#include "net/HttpClientDownloader.h"
#include "net/HttpClientDownloaderImpl.h"
#include "tests/net/NetTestSupport.h"

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <chrono>

using namespace orvane::test;
using valmora::net::HostNotFoundException;
using valmora::net::HttpClientDownloader;
using valmora::net::HttpClientDownloaderImpl;

namespace {

valmora::signer::Bytes bytes(const std::string& text)
{
    return valmora::signer::Bytes(text.begin(), text.end());
}

std::string answer(int status, const std::string& body, const std::string& headers = "[]",
                   const std::string& extra = {})
{
    return R"({"status": )" + std::to_string(status) + R"(, "headers": )" + headers + R"(, "body": )"
        + Json::valueToQuotedString(body.c_str()) + extra + "}";
}

std::string script(const std::string& answers)
{
    return R"({"responses": [)" + answers + "]}";
}

} // namespace

// ---------------------------------------------------------------- URLs

TEST(UrlParsing, SchemeHostPortAndPathAsTheUrlGivesThem)
{
    auto parsed = HttpClientDownloaderImpl::parseUrl(L"https://kestrel.example");
    EXPECT_EQ(parsed.host, L"kestrel.example");
    EXPECT_EQ(parsed.port, 443u);
    EXPECT_TRUE(parsed.secure);
    EXPECT_EQ(parsed.path, L"");

    parsed = HttpClientDownloaderImpl::parseUrl(L"HTTPS://kestrel.example:8443/a");
    EXPECT_EQ(parsed.port, 8443u);
    EXPECT_TRUE(parsed.secure);
    EXPECT_EQ(parsed.path, L"/a");

    parsed = HttpClientDownloaderImpl::parseUrl(L"kestrel.example:81/x");
    EXPECT_EQ(parsed.host, L"kestrel.example");
    EXPECT_EQ(parsed.port, 81u);
    EXPECT_FALSE(parsed.secure);
    EXPECT_EQ(parsed.path, L"/x");

    parsed = HttpClientDownloaderImpl::parseUrl(L"http://h/p?q=1");
    EXPECT_EQ(parsed.port, 80u);
    EXPECT_EQ(parsed.path, L"/p?q=1");
}

TEST(UrlParsing, RefusesOtherSchemesAndPortsBeyondSixteenBits)
{
    try {
        HttpClientDownloaderImpl::parseUrl(L"ftp://kestrel.example/file");
        FAIL() << "ftp accepted";
    } catch (const std::exception& failure) {
        EXPECT_STREQ(failure.what(), "Only http or https supported");
    }
    EXPECT_THROW(HttpClientDownloaderImpl::parseUrl(L"http://h:65536/"), boost::bad_lexical_cast);
    EXPECT_EQ(HttpClientDownloaderImpl::parseUrl(L"http://h:65535/").port, 65535u);
    // The constructor parses first, so a bad URL never becomes a client.
    EXPECT_THROW(HttpClientDownloader(L"gopher://h/"), std::runtime_error);
}

TEST(UrlParsing, IrregularUrlWhenTheExpressionDoesNotMatch)
{
    // A line break is the one thing "." does not take.
    try {
        HttpClientDownloaderImpl::parseUrl(L"http://h/a\nb");
        FAIL() << "accepted";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Irregular URL");
    }
}

TEST(UrlParsing, SubPathJoinsWithOneSlash)
{
    EXPECT_EQ(HttpClientDownloaderImpl::joinPath(L"/a", L"b"), L"/a/b");
    EXPECT_EQ(HttpClientDownloaderImpl::joinPath(L"/a/", L"b"), L"/a/b");
    EXPECT_EQ(HttpClientDownloaderImpl::joinPath(L"", L"b"), L"b");
    EXPECT_EQ(HttpClientDownloaderImpl::joinPath(L"/a", L""), L"/a");
}

// ---------------------------------------------------------------- the wire

class PlainHttp : public NetworkTest {};

TEST_F(PlainHttp, PostCarriesHeadersAcceptListAndBody)
{
    ScriptedServer server(script(answer(200, R"({"ok":true})")));
    HttpClientDownloader client(server.url(L"/create"));
    ASSERT_FALSE(client.isInvalid());
    client.setMethod(1);
    client.addAccept(L"application/json");
    client.addAccept(L"application/json");
    client.addAccept(L"text/plain");
    client.setContentType(L"application/json");
    client.setAuthorization(L"first");
    client.setAuthorization(L"Bearer second");
    client.setBody(bytes(R"({"a":1})"));

    EXPECT_EQ(readAll(client.openStream(L"")), R"({"ok":true})");
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0]["method"].asString(), "POST");
    EXPECT_EQ(requests[0]["path"].asString(), "/create");
    EXPECT_EQ(requests[0]["body"].asString(), R"({"a":1})");
    EXPECT_EQ(recordedHeader(requests[0], "Accept"), "application/json, text/plain, */*");
    EXPECT_EQ(recordedHeader(requests[0], "Content-Type"), "application/json");
    EXPECT_EQ(recordedHeader(requests[0], "Authorization"), "Bearer second");
    EXPECT_EQ(recordedHeader(requests[0], "User-Agent"), "Orvane_Provider");
    EXPECT_EQ(recordedHeader(requests[0], "Expect"), "");
    EXPECT_EQ(prompt_->questions(), 0);
}

TEST_F(PlainHttp, EmptyPostSendsLengthZeroAndNoContentTypeOfItsOwn)
{
    ScriptedServer server;
    HttpClientDownloader client(server.url(L"/x"));
    client.setMethod(1);
    client.openStream(L"");
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(recordedHeader(requests[0], "Content-Length"), "0");
    EXPECT_EQ(recordedHeader(requests[0], "Content-Type"), "");
}

TEST_F(PlainHttp, GetIsTheDefaultVerbAndSubPathsJoinThePath)
{
    ScriptedServer server;
    HttpClientDownloader client(server.url(L"/base"));
    client.openStream(L"leaf");
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0]["method"].asString(), "GET");
    EXPECT_EQ(requests[0]["path"].asString(), "/base/leaf");
}

TEST_F(PlainHttp, OneRequestForRepeatedFactsAndTheSameSubPath)
{
    ScriptedServer server(script(answer(200, "first") + "," + answer(201, "second")));
    HttpClientDownloader client(server.url(L"/a"));
    client.setMethod(1);
    std::istream& first = client.openStream(L"");
    EXPECT_EQ(&client.openStream(L""), &first);
    EXPECT_EQ(client.responseInfo().httpStatus, 200);
    EXPECT_EQ(client.responseInfo().httpStatus, 200);
    EXPECT_EQ(server.requests().size(), 1u);

    // Another sub-path is another request, and its facts replace the old.
    client.openStream(L"b");
    EXPECT_EQ(client.responseInfo().httpStatus, 201);
    EXPECT_EQ(server.requests().size(), 2u);
}

TEST_F(PlainHttp, ResponseFactsFromTheHeaders)
{
    const std::string headers = R"([["Last-Modified", "Tue, 01 Oct 2024 10:00:00 GMT"],
        ["Cache-Control", "public, max-age=600"], ["Location", "/elsewhere"]])";
    ScriptedServer server(script(answer(200, "12345", headers)));
    HttpClientDownloader client(server.url(L"/"));
    const auto info = client.responseInfo();
    EXPECT_EQ(info.httpStatus, 200);
    EXPECT_EQ(info.contentLength, 5);
    EXPECT_EQ(info.lastModified, L"Tue, 01 Oct 2024 10:00:00 GMT");
    EXPECT_EQ(info.cacheControl, L"public, max-age=600");
    EXPECT_EQ(info.location, L"/elsewhere");
}

TEST_F(PlainHttp, AbsentOrOverlongHeadersReadAsEmpty)
{
    const std::string fits(8184, 'a');
    const std::string tooLong(8185, 'b');
    const std::string headers = R"([["Last-Modified", ")" + fits + R"("], ["Cache-Control", ")"
        + tooLong + R"("]])";
    ScriptedServer server(script(answer(200, "body", headers, R"(, "noLength": true)")));
    HttpClientDownloader client(server.url(L"/"));
    EXPECT_EQ(readAll(client.openStream(L"")), "body");
    const auto info = client.responseInfo();
    EXPECT_EQ(info.httpStatus, 200);
    EXPECT_EQ(info.contentLength, 0);
    EXPECT_EQ(info.lastModified.size(), 8184u);
    EXPECT_EQ(info.cacheControl, L"");
    EXPECT_EQ(info.location, L"");
}

TEST_F(PlainHttp, NotModifiedGivesAnEmptyStreamAndTheStatus)
{
    ScriptedServer server(script(answer(304, "")));
    HttpClientDownloader client(server.url(L"/"));
    client.setMethod(1);
    client.setIfModifiedSince(L"Tue, 01 Oct 2024 10:00:00 GMT");
    EXPECT_EQ(readAll(client.openStream(L"")), "");
    EXPECT_EQ(client.responseInfo().httpStatus, 304);
    EXPECT_EQ(recordedHeader(server.requests().at(0), "If-Modified-Since"), "Tue, 01 Oct 2024 10:00:00 GMT");
}

TEST_F(PlainHttp, ErrorStatusesAreAnswersNotFailures)
{
    ScriptedServer server(script(answer(500, "boom") + "," + answer(401, "no")));
    HttpClientDownloader first(server.url(L"/"));
    EXPECT_EQ(readAll(first.openStream(L"")), "boom");
    EXPECT_EQ(first.responseInfo().httpStatus, 500);
    HttpClientDownloader second(server.url(L"/"));
    EXPECT_EQ(second.responseInfo().httpStatus, 401);
}

TEST_F(PlainHttp, RedirectsAreFollowed)
{
    ScriptedServer target(script(answer(200, "arrived")));
    const std::string location = "http://127.0.0.1:" + std::to_string(target.port()) + "/there";
    ScriptedServer server(script(answer(302, "", R"([["Location", ")" + location + R"("]])")));
    HttpClientDownloader client(server.url(L"/here"));
    EXPECT_EQ(readAll(client.openStream(L"")), "arrived");
    EXPECT_EQ(client.responseInfo().httpStatus, 200);
    EXPECT_EQ(target.requests().at(0)["path"].asString(), "/there");
}

TEST_F(PlainHttp, BodyCutInTheMiddleIsShortAndNoFailure)
{
    const std::string body(4000, 'x');
    ScriptedServer server(script(answer(200, body, "[]", R"(, "cut": true)")));
    HttpClientDownloader client(server.url(L"/"));
    std::string received;
    EXPECT_NO_THROW(received = readAll(client.openStream(L"")));
    EXPECT_EQ(received, std::string(2000, 'x'));
    EXPECT_EQ(client.responseInfo().httpStatus, 200);
    EXPECT_EQ(client.responseInfo().contentLength, 4000);
}

TEST_F(PlainHttp, LargeBodyComesWholeThroughTheStream)
{
    std::string body;
    for (int index = 0; body.size() < 300000; ++index)
        body += std::to_string(index) + ",";
    ScriptedServer server(script(answer(200, body)));
    HttpClientDownloader client(server.url(L"/"));
    client.setMethod(1);
    client.setBody(bytes(body));
    EXPECT_EQ(readAll(client.openStream(L"")), body);
    EXPECT_EQ(server.requests().at(0)["body"].asString(), body);
}

// ---------------------------------------------------------------- failures

class NetworkFailures : public NetworkTest {};

TEST_F(NetworkFailures, RefusedPortReadsHostPortPathCodeAndText)
{
    const unsigned port = freeLoopbackPort();
    HttpClientDownloader client(L"http://127.0.0.1:" + std::to_wstring(port) + L"/base");
    ASSERT_FALSE(client.isInvalid());
    try {
        client.openStream(L"leaf");
        FAIL() << "no failure";
    } catch (const HostNotFoundException& failure) {
        EXPECT_EQ(std::string(failure.what()),
                  "127.0.0.1:" + std::to_string(port) + "/base/leaf | (7) Couldn't connect to server: Unreachable");
    }
    // Nothing stays open: the facts ask again and fail again.
    EXPECT_THROW(client.responseInfo(), HostNotFoundException);
}

TEST_F(NetworkFailures, UnknownHostReadsAsUnresolved)
{
    HttpClientDownloader client(L"http://no-such-host.invalid:8080/x");
    try {
        client.responseInfo();
        FAIL() << "no failure";
    } catch (const HostNotFoundException& failure) {
        EXPECT_EQ(std::string(failure.what()),
                  "no-such-host.invalid:8080/x | (6) Couldn't resolve host name: Unreachable");
    }
}

TEST_F(NetworkFailures, ConnectionClosedWithoutAnswer)
{
    ScriptedServer server(script(R"({"close": true})"));
    HttpClientDownloader client(server.url(L"/"));
    try {
        client.openStream(L"");
        FAIL() << "no failure";
    } catch (const HostNotFoundException& failure) {
        EXPECT_EQ(std::string(failure.what()),
                  "127.0.0.1:" + std::to_string(server.port()) + "/ | (52) Server returned nothing (no headers, no data): Unreachable");
    }
}

TEST_F(NetworkFailures, SilentServerEndsAtTheReceiveTimeOut)
{
    // The short time-out goes through the test seam; the service calls use
    // the fixed minute.
    ScriptedServer server(script(answer(200, "late", "[]", R"(, "delay": 10)")));
    HttpClientDownloader client(server.url(L"/"), 1000);
    const auto start = std::chrono::steady_clock::now();
    try {
        client.openStream(L"");
        FAIL() << "no failure";
    } catch (const HostNotFoundException& failure) {
        EXPECT_NE(std::string(failure.what()).find(" | (28) Timeout was reached: Unreachable"), std::string::npos)
            << failure.what();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(HostNotFound, TextEndsInUnreachable)
{
    EXPECT_STREQ(HostNotFoundException(L"").what(), ": Unreachable");
    EXPECT_STREQ(HostNotFoundException(L"h\u00e9 - Connection error").what(),
                 "h\xC3\xA9 - Connection error: Unreachable");
}
