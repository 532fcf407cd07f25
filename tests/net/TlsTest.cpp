// The relaxed certificate rule against real TLS servers: an authority this
// computer does not know, or a self-signed certificate, is accepted; an
// expired certificate or one for another host name is refused.

#include "net/HostNotFoundException.h"
#include "net/HttpClientDownloader.h"
#include "tests/net/NetTestSupport.h"

#include <gtest/gtest.h>

using namespace orvane::test;
using valmora::net::HostNotFoundException;
using valmora::net::HttpClientDownloader;

namespace {

const char* const hello = R"({"responses": [{"status": 200, "body": "{\"hello\": 1}"}]})";

} // namespace

class RelaxedTls : public NetworkTest {
protected:
    // The failure text of a refused handshake, or empty when it was accepted.
    static std::string refusal(const ScriptedServer& server)
    {
        HttpClientDownloader client(server.url(L"/doc"));
        client.setMethod(1);
        try {
            client.openStream(L"");
            return {};
        } catch (const HostNotFoundException& failure) {
            return failure.what();
        }
    }
};

TEST_F(RelaxedTls, CertificateFromAnUnknownAuthorityIsAccepted)
{
    ScriptedServer server(hello, "good");
    HttpClientDownloader client(server.url(L"/doc"));
    client.setMethod(1);
    EXPECT_EQ(readAll(client.openStream(L"")), R"({"hello": 1})");
    EXPECT_EQ(client.responseInfo().httpStatus, 200);
    ASSERT_EQ(server.requests().size(), 1u);
    // The server offers HTTP/2 first, as most do; the services speak HTTP/1.1.
    EXPECT_EQ(server.requests()[0]["alpn"].asString(), "http/1.1");
}

TEST_F(RelaxedTls, SelfSignedCertificateIsAccepted)
{
    ScriptedServer server(hello, "selfsigned");
    EXPECT_EQ(refusal(server), "");
}

TEST_F(RelaxedTls, ExpiredCertificateIsRefused)
{
    ScriptedServer server(hello, "expired");
    EXPECT_EQ(refusal(server), "127.0.0.1:" + std::to_string(server.port())
                                   + "/doc | (60) SSL peer certificate or SSH remote key was not OK: Unreachable");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(RelaxedTls, CertificateForAnotherHostIsRefused)
{
    ScriptedServer server(hello, "otherhost");
    EXPECT_EQ(refusal(server), "127.0.0.1:" + std::to_string(server.port())
                                   + "/doc | (60) SSL peer certificate or SSH remote key was not OK: Unreachable");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(RelaxedTls, PlainHttpClientToATlsPortGetsNoAnswer)
{
    ScriptedServer server(hello, "good");
    HttpClientDownloader client(L"http://127.0.0.1:" + std::to_wstring(server.port()) + L"/doc");
    EXPECT_THROW(client.openStream(L""), HostNotFoundException);
}
