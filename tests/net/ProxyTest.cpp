// Proxy modes and proxy authentication through a real tinyproxy with Basic
// authentication, with a scripted credential prompt; the process-wide
// credential buffers and the terminal prompt.

#include "net/HostNotFoundException.h"
#include "net/TerminalCredentialPrompt.h"
#include "tests/mock/FailureText.h"
#include "tests/net/NetTestSupport.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>

#include <algorithm>
#include <cstdio>

using namespace orvane::test;
using namespace valmora::net;

namespace {

const std::string hello = R"({"responses": [{"status": 200, "body": "hello"}]})";

} // namespace

// One tinyproxy for the suite: it keeps nothing between connections.
class ProxyAuthentication : public NetworkTest {
protected:
    static void SetUpTestSuite() { proxy_ = std::make_unique<TinyProxy>("agent", "s3cret"); }
    static void TearDownTestSuite() { proxy_.reset(); }

    // Whether this test's requests to `server` went through a tunnel of the proxy.
    bool tunnelled(const ScriptedServer& server) const
    {
        const std::string connect = "CONNECT 127.0.0.1:" + std::to_string(server.port());
        return proxy_->log().find(connect, logStart_) != std::string::npos;
    }

    static inline std::unique_ptr<TinyProxy> proxy_;
    const std::size_t logStart_ = proxy_->log().size();
};

TEST_F(ProxyAuthentication, NamedProxyAsksOnceAndTheNextClientPassesUnasked)
{
    // The named proxy is the HTTPS address, for both schemes and whatever
    // no_proxy says.
    answers({{0, L"agent", L"s3cret"}});
    EnvironmentScope noProxy("no_proxy", "127.0.0.1,localhost");
    orvane::model::ProxySettings settings;
    settings.enable = true;
    settings.mode = L"3";
    settings.addressHttp = L"127.0.0.1:1";   // never consulted
    settings.addressHttps = proxy_->address();
    orvane::model::saveProxySettings(settings);
    ScriptedServer secure(hello, "good");
    ScriptedServer plain(hello);

    HttpClientDownloader first(secure.url(L"/doc"));
    ASSERT_FALSE(first.isInvalid());
    EXPECT_EQ(postJson(first), "hello");
    EXPECT_EQ(prompt_->questions, 1);
    EXPECT_TRUE(tunnelled(secure));
    EXPECT_EQ(proxyCredentialText(proxyUserBuffer), L"agent");

    HttpClientDownloader second(plain.url(L"/doc"));
    EXPECT_EQ(postJson(second), "hello");
    EXPECT_EQ(prompt_->questions, 1);
    EXPECT_NE(header(plain.requests().at(0), "via").find("tinyproxy"), std::string::npos);
}

TEST_F(ProxyAuthentication, CancelledPromptOrFailedRequestWipesTheTypedCredentials)
{
    answers({{0, L"agent", L"s3cret"}, {1, L"agent", L"s3cret"}});
    ScriptedServer server(hello, "good");
    writeProxySettings(true, L"3", proxy_->address());
    HttpClientDownloader first(server.url(L"/doc"));
    postJson(first);
    ASSERT_NE(proxyUserBuffer[0], u'\0');

    writeProxySettings(true, L"3", L"127.0.0.1:" + std::to_wstring(freeLoopbackPort()));
    HttpClientDownloader unreachable(server.url(L"/doc"));
    EXPECT_THROW(postJson(unreachable), HostNotFoundException);
    EXPECT_EQ(proxyUserBuffer[0], u'\0');
    EXPECT_EQ(proxyPasswordBuffer[0], u'\0');

    writeProxySettings(true, L"3", proxy_->address());
    HttpClientDownloader cancelled(server.url(L"/doc"));
    EXPECT_EQ(failureOf<HostNotFoundException>([&] { postJson(cancelled); }), ": Unreachable");
    EXPECT_EQ(prompt_->questions, 2);
    EXPECT_EQ(proxyUserBuffer[0], u'\0');
    EXPECT_EQ(proxyPasswordBuffer[0], u'\0');
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(ProxyAuthentication, EmptyOrWrongPasswordLeavesTheProxysAnswerToTheCaller)
{
    // tinyproxy answers a wrong password with 401, not with another 407.
    answers({{0, L"agent", L""}, {0, L"agent", L"wrong"}});
    writeProxySettings(true, L"3", proxy_->address());
    ScriptedServer server(hello);
    for (const int status : {407, 401}) {
        HttpClientDownloader client(server.url(L"/doc"));
        EXPECT_NO_THROW(postJson(client));
        EXPECT_EQ(client.responseInfo().httpStatus, status);
    }
    EXPECT_EQ(prompt_->questions, 2);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(ProxyAuthentication, RepeatedProxyDemandAsksAgainUntilItPasses)
{
    // tinyproxy refuses wrong credentials with 401; this stand-in proxy keeps
    // demanding with 407 until it gets the right ones, as others do.
    answers({{0, L"nobody", L"x"}, {0, L"agent", L"s3cret"}});
    ScriptedServer standIn(hello, {}, {}, "agent:s3cret");
    writeProxySettings(true, L"3", L"127.0.0.1:" + std::to_wstring(standIn.port()));
    HttpClientDownloader client(L"http://target.invalid/doc");
    EXPECT_EQ(postJson(client), "hello");
    EXPECT_EQ(prompt_->questions, 2);
    // Asked on the thread that made the request, not on the request's own:
    // a request made on the GUI thread shows its dialog there.
    EXPECT_EQ(prompt_->lastThread, std::this_thread::get_id());

    const auto requests = standIn.requests();
    ASSERT_GE(requests.size(), 3u);
    EXPECT_EQ(requests.back()["path"].asString(), "http://target.invalid/doc");
    EXPECT_EQ(requests.back()["body"].asString(), R"({"a": 1})");
    EXPECT_EQ(header(requests.back(), "proxy-authorization"), "Basic YWdlbnQ6czNjcmV0");
    EXPECT_TRUE(std::any_of(requests.begin(), requests.end(), [](const Json::Value& request) {
        return header(request, "proxy-authorization") == "Basic bm9ib2R5Ong=";
    }));
}

TEST_F(ProxyAuthentication, InitialAuthenticationAsksBeforeTheFirstRequestOnly)
{
    // Cancelled, or confirmed without a password: the client is invalid.
    answers({{1, L"agent", L"s3cret"}, {0, L"agent", L""}, {0, L"agent", L"s3cret"}});
    writeProxySettings(true, L"3", proxy_->address(), true);
    ScriptedServer server(hello, "good");
    HttpClientDownloader cancelled(server.url(L"/doc"));
    EXPECT_TRUE(cancelled.isInvalid());
    EXPECT_EQ(proxyUserBuffer[0], u'\0');
    HttpClientDownloader empty(server.url(L"/doc"));
    EXPECT_TRUE(empty.isInvalid());
    EXPECT_EQ(prompt_->questions, 2);

    clearProxyCredentials();
    HttpClientDownloader first(server.url(L"/doc"));
    EXPECT_EQ(prompt_->questions, 3);
    ASSERT_FALSE(first.isInvalid());
    EXPECT_EQ(postJson(first), "hello");
    HttpClientDownloader second(server.url(L"/doc"));
    EXPECT_FALSE(second.isInvalid());
    EXPECT_EQ(postJson(second), "hello");
    EXPECT_EQ(prompt_->questions, 3);
    EXPECT_TRUE(tunnelled(server));
}

class ProxyModes : public ProxyAuthentication {};

// The address counts only in the named mode; the system mode follows the
// proxy variables; the direct modes follow neither.
TEST_F(ProxyModes, SystemModeFollowsTheEnvironmentDirectModesDoNot)
{
    answers({{0, L"agent", L"s3cret"}});
    ScriptedServer secure(hello, "good");
    ScriptedServer plain(hello);
    writeProxySettings(true, L"2", proxy_->address());
    HttpClientDownloader unset(secure.url(L"/doc"));
    EXPECT_EQ(postJson(unset), "hello");

    const std::string proxyUrl = "http://127.0.0.1:" + std::to_string(proxy_->port());
    EnvironmentScope httpsProxy("https_proxy", proxyUrl.c_str());
    EnvironmentScope httpProxy("http_proxy", proxyUrl.c_str());
    EnvironmentScope allProxy("all_proxy", proxyUrl.c_str());
    for (const auto& [enable, mode] : {std::pair{false, L"3"}, std::pair{false, L"2"}, std::pair{true, L"1"},
                                       std::pair{true, L"x"}, std::pair{true, L"33"}}) {
        writeProxySettings(enable, mode, proxy_->address());
        HttpClientDownloader overTls(secure.url(L"/doc"));
        EXPECT_EQ(postJson(overTls), "hello");
        HttpClientDownloader overHttp(plain.url(L"/doc"));
        EXPECT_EQ(postJson(overHttp), "hello");
    }
    EXPECT_EQ(prompt_->questions, 0);
    EXPECT_FALSE(tunnelled(secure));
    for (const Json::Value& request : plain.requests())
        EXPECT_EQ(header(request, "via"), "");

    writeProxySettings(true, L"2", proxy_->address());
    HttpClientDownloader system(secure.url(L"/doc"));
    EXPECT_EQ(postJson(system), "hello");
    EXPECT_EQ(prompt_->questions, 1);
    EXPECT_TRUE(tunnelled(secure));
}

class CredentialBuffers : public NetworkTest {};

TEST_F(CredentialBuffers, TextIsCutToTheBufferAndAWipeZeroesAByteForEachCharacter)
{
    storeProxyCredential(proxyUserBuffer, proxyUserBufferSize, std::wstring(600, L'u'));
    EXPECT_EQ(proxyCredentialText(proxyUserBuffer).size(), 513u);
    storeProxyCredential(proxyPasswordBuffer, proxyPasswordBufferSize, std::wstring(300, L'p'));
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer).size(), 256u);
    storeProxyCredential(proxyPasswordBuffer, proxyPasswordBufferSize, L"s\u00e9nha\U0001F511");
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer), L"s\u00e9nha\U0001F511");

    storeProxyCredential(proxyPasswordBuffer, proxyPasswordBufferSize, L"abcdefgh");
    wipeProxyCredential(proxyPasswordBuffer);
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer), L"");
    // Eight characters are sixteen bytes; eight of them are zeroed.
    EXPECT_EQ(std::u16string(proxyPasswordBuffer, 8), std::u16string(4, u'\0') + u"efgh");
}

TEST(TerminalPrompt, AsksOnATerminalWithThePasswordUnechoedAndCancelsWithoutOne)
{
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    ASSERT_EQ(::write(pipeEnds[1], "agent\nsecret\n", 13), 13);
    std::FILE* output = std::tmpfile();
    std::wstring user = L"before";
    std::wstring password;
    EXPECT_NE(TerminalCredentialPrompt(pipeEnds[0], output).ask(user, password), 0);
    EXPECT_EQ(user, L"before");
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);

    int controller = -1;
    int terminal = -1;
    ASSERT_EQ(::openpty(&controller, &terminal, nullptr, nullptr, nullptr), 0);
    const std::string typed = "agent\ns\xC3\xA9nha\n";
    ASSERT_EQ(::write(controller, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    EXPECT_EQ(TerminalCredentialPrompt(terminal, output).ask(user, password), 0);
    EXPECT_EQ(user, L"agent");
    EXPECT_EQ(password, L"s\u00e9nha");
    termios after{};
    ASSERT_EQ(::tcgetattr(terminal, &after), 0);
    EXPECT_NE(after.c_lflag & ECHO, 0u);

    std::rewind(output);
    char shown[512] = {};
    const std::string text(shown, std::fread(shown, 1, sizeof shown - 1, output));
    EXPECT_NE(text.find("Kestrel\nEntre com a conta do usu\xC3\xAF\xC2\xBF\xC2\xBDrio\n"), std::string::npos);
    std::fclose(output);
    ::close(terminal);
    ::close(controller);
}
