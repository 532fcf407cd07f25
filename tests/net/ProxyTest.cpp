// Proxy modes and proxy authentication through a real tinyproxy with Basic
// authentication, with a scripted credential prompt.

#include "net/HostNotFoundException.h"
#include "net/HttpClientDownloader.h"
#include "net/ProxyCredentials.h"
#include "tests/net/NetTestSupport.h"

#include <gtest/gtest.h>

using namespace orvane::test;
using valmora::net::HostNotFoundException;
using valmora::net::HttpClientDownloader;

namespace {

const char* const hello = R"({"responses": [{"status": 200, "body": "{\"hello\": 1}"}]})";

} // namespace

class ProxyAuthentication : public NetworkTest {
protected:
    ProxyAuthentication() : proxy_("agent", "s3cret") {}

    void answers(std::deque<ScriptedPrompt::Answer> script)
    {
        prompt_ = std::make_shared<ScriptedPrompt>(std::move(script));
        scope_ = std::make_unique<PromptScope>(prompt_);
    }
    bool tunnelled(const ScriptedServer& server) const
    {
        return proxy_.log().find("CONNECT 127.0.0.1:" + std::to_string(server.port())) != std::string::npos;
    }

    TinyProxy proxy_;
    std::unique_ptr<PromptScope> scope_;
};

TEST_F(ProxyAuthentication, NamedProxyAsksOnceAndTheNextClientPassesUnasked)
{
    // The named proxy is the HTTPS address, whatever no_proxy says.
    answers({{0, L"agent", L"s3cret"}});
    EnvironmentScope noProxy("no_proxy", "127.0.0.1,localhost");
    orvane::model::ProxySettings settings;
    settings.enable = true;
    settings.mode = L"3";
    settings.addressHttp = L"127.0.0.1:1";   // never consulted
    settings.addressHttps = proxy_.address();
    orvane::model::saveProxySettings(settings);
    ScriptedServer server(hello, "good");

    HttpClientDownloader first(server.url(L"/doc"));
    ASSERT_FALSE(first.isInvalid());
    EXPECT_EQ(postJson(first), R"({"hello": 1})");
    EXPECT_EQ(first.responseInfo().httpStatus, 200);
    EXPECT_EQ(prompt_->questions(), 1);
    EXPECT_TRUE(tunnelled(server));
    EXPECT_EQ(valmora::net::proxyCredentialText(valmora::net::proxyUserBuffer), L"agent");

    HttpClientDownloader second(server.url(L"/doc"));
    EXPECT_EQ(postJson(second), R"({"hello": 1})");
    EXPECT_EQ(prompt_->questions(), 1);
    EXPECT_EQ(server.requests().size(), 2u);
}

TEST_F(ProxyAuthentication, PlainHttpPostThroughTheProxyIsRetriedWithTheTypedCredentials)
{
    answers({{0, L"agent", L"s3cret"}});
    writeProxySettings(true, L"3", proxy_.address());
    ScriptedServer server(hello);
    HttpClientDownloader client(server.url(L"/doc"));
    EXPECT_EQ(postJson(client), R"({"hello": 1})");
    EXPECT_EQ(client.responseInfo().httpStatus, 200);
    EXPECT_EQ(prompt_->questions(), 1);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0]["body"].asString(), R"({"a": 1})");
    EXPECT_NE(recordedHeader(requests[0], "Via").find("tinyproxy"), std::string::npos);
}

TEST_F(ProxyAuthentication, CancelledPromptIsUnreachableAndWipesTheBuffers)
{
    answers({{1, L"agent", L"s3cret"}});
    writeProxySettings(true, L"3", proxy_.address());
    ScriptedServer server(hello, "good");
    HttpClientDownloader client(server.url(L"/doc"));
    try {
        postJson(client);
        FAIL() << "no failure";
    } catch (const HostNotFoundException& failure) {
        EXPECT_STREQ(failure.what(), ": Unreachable");
    }
    EXPECT_EQ(valmora::net::proxyUserBuffer[0], u'\0');
    EXPECT_EQ(valmora::net::proxyPasswordBuffer[0], u'\0');
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(ProxyAuthentication, EmptyOrWrongPasswordLeavesTheProxysAnswerToTheCaller)
{
    // tinyproxy answers a wrong password with 401, not with another 407.
    answers({{0, L"agent", L""}, {0, L"agent", L"wrong"}});
    writeProxySettings(true, L"3", proxy_.address());
    ScriptedServer server(hello);
    for (const int status : {407, 401}) {
        HttpClientDownloader client(server.url(L"/doc"));
        EXPECT_NO_THROW(postJson(client));
        EXPECT_EQ(client.responseInfo().httpStatus, status);
    }
    EXPECT_EQ(prompt_->questions(), 2);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(ProxyAuthentication, RepeatedProxyDemandAsksAgainUntilItPasses)
{
    // tinyproxy refuses wrong credentials with 401; this stand-in proxy keeps
    // demanding with 407 until it gets the right ones, as others do.
    answers({{0, L"nobody", L"x"}, {0, L"agent", L"s3cret"}});
    ScriptedServer standIn(R"({"responses": [{"status": 200, "body": "{\"via\": 1}"}]})", {}, {}, "agent:s3cret");
    writeProxySettings(true, L"3", L"127.0.0.1:" + std::to_wstring(standIn.port()));
    HttpClientDownloader client(L"http://target.invalid/doc");
    EXPECT_EQ(postJson(client), R"({"via": 1})");
    EXPECT_EQ(client.responseInfo().httpStatus, 200);
    EXPECT_EQ(prompt_->questions(), 2);
    // Asked on the thread that made the request, not on the request's own:
    // a request made on the GUI thread shows its dialog there.
    EXPECT_EQ(prompt_->lastThread(), std::this_thread::get_id());

    const auto requests = standIn.requests();
    ASSERT_GE(requests.size(), 3u);
    EXPECT_EQ(requests.back()["path"].asString(), "http://target.invalid/doc");
    EXPECT_EQ(requests.back()["body"].asString(), R"({"a": 1})");
    EXPECT_EQ(recordedHeader(requests.back(), "Proxy-Authorization"), "Basic YWdlbnQ6czNjcmV0");
    bool triedFirstAnswer = false;
    for (const Json::Value& request : requests)
        triedFirstAnswer = triedFirstAnswer || recordedHeader(request, "Proxy-Authorization") == "Basic bm9ib2R5Ong=";
    EXPECT_TRUE(triedFirstAnswer);
}

TEST_F(ProxyAuthentication, FailedRequestForgetsTheTypedCredentials)
{
    answers({{0, L"agent", L"s3cret"}});
    writeProxySettings(true, L"3", proxy_.address());
    ScriptedServer server(hello, "good");
    HttpClientDownloader first(server.url(L"/doc"));
    postJson(first);
    ASSERT_NE(valmora::net::proxyUserBuffer[0], u'\0');

    writeProxySettings(true, L"3", L"127.0.0.1:" + std::to_wstring(freeLoopbackPort()));
    HttpClientDownloader second(server.url(L"/doc"));
    EXPECT_THROW(postJson(second), HostNotFoundException);
    EXPECT_EQ(valmora::net::proxyUserBuffer[0], u'\0');
    EXPECT_EQ(valmora::net::proxyPasswordBuffer[0], u'\0');
}

TEST_F(ProxyAuthentication, InitialAuthenticationAsksBeforeTheFirstRequestOnly)
{
    answers({{0, L"agent", L"s3cret"}});
    writeProxySettings(true, L"3", proxy_.address(), true);
    ScriptedServer server(hello, "good");
    HttpClientDownloader first(server.url(L"/doc"));
    EXPECT_EQ(prompt_->questions(), 1);
    ASSERT_FALSE(first.isInvalid());
    EXPECT_EQ(postJson(first), R"({"hello": 1})");
    HttpClientDownloader second(server.url(L"/doc"));
    EXPECT_FALSE(second.isInvalid());
    EXPECT_EQ(postJson(second), R"({"hello": 1})");
    EXPECT_EQ(prompt_->questions(), 1);
}

TEST_F(ProxyAuthentication, InitialAuthenticationCancelledOrEmptyLeavesAnInvalidClient)
{
    answers({{1, L"agent", L"s3cret"}, {0, L"agent", L""}});
    writeProxySettings(true, L"2", {}, true);
    HttpClientDownloader cancelled(L"http://127.0.0.1:9/");
    EXPECT_TRUE(cancelled.isInvalid());
    EXPECT_EQ(valmora::net::proxyUserBuffer[0], u'\0');
    HttpClientDownloader empty(L"http://127.0.0.1:9/");
    EXPECT_TRUE(empty.isInvalid());
    EXPECT_EQ(prompt_->questions(), 2);
}

class ProxyModes : public ProxyAuthentication {};

TEST_F(ProxyModes, SystemModeFollowsTheEnvironmentNotTheAddress)
{
    answers({{0, L"agent", L"s3cret"}});
    writeProxySettings(true, L"2", proxy_.address());
    ScriptedServer direct(hello, "good");
    HttpClientDownloader first(direct.url(L"/doc"));
    EXPECT_EQ(postJson(first), R"({"hello": 1})");
    EXPECT_EQ(prompt_->questions(), 0);
    EXPECT_FALSE(tunnelled(direct));

    const std::string proxyUrl = "http://127.0.0.1:" + std::to_string(proxy_.port());
    EnvironmentScope httpsProxy("https_proxy", proxyUrl.c_str());
    ScriptedServer server(hello, "good");
    HttpClientDownloader client(server.url(L"/doc"));
    EXPECT_EQ(postJson(client), R"({"hello": 1})");
    EXPECT_EQ(prompt_->questions(), 1);
    EXPECT_TRUE(tunnelled(server));
}

TEST_F(ProxyModes, DirectModesIgnoreTheEnvironmentAndTheAddress)
{
    const std::string proxyUrl = "http://127.0.0.1:" + std::to_string(proxy_.port());
    EnvironmentScope httpsProxy("https_proxy", proxyUrl.c_str());
    EnvironmentScope httpProxy("http_proxy", proxyUrl.c_str());
    EnvironmentScope allProxy("all_proxy", proxyUrl.c_str());
    ScriptedServer secure(hello, "good");
    ScriptedServer plain(hello);

    for (const auto& [enable, mode] : {std::pair{false, L"3"}, std::pair{false, L"2"}, std::pair{true, L"1"},
                                       std::pair{true, L"x"}, std::pair{true, L"33"}}) {
        writeProxySettings(enable, mode, proxy_.address());
        HttpClientDownloader overTls(secure.url(L"/doc"));
        EXPECT_EQ(postJson(overTls), R"({"hello": 1})");
        HttpClientDownloader overHttp(plain.url(L"/doc"));
        EXPECT_EQ(postJson(overHttp), R"({"hello": 1})");
    }
    EXPECT_EQ(prompt_->questions(), 0);
    EXPECT_FALSE(tunnelled(secure));
    EXPECT_EQ(recordedHeader(plain.requests().at(0), "Via"), "");
}
