// Posting JSON documents against real local servers: conditional requests and
// freshness, offline answers, parsing rules, and the two signatures, which the
// test server checks on its own with the agent's exported public key.

#include "net/DocumentPosting.h"
#include "signer/Exceptions.h"
#include "signer/SystemRepository.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/net/NetTestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace orvane::test;
using valmora::net::DocumentOutcome;
using valmora::net::flattenDocument;
using valmora::net::makeBearerToken;
using valmora::net::postAuthorizedDocument;
using valmora::net::postBearerSigned;
using valmora::net::postDocument;
using valmora::net::postSignedEnvelope;

namespace {

Json::Value parsed(const std::string& text)
{
    Json::Value value;
    std::istringstream in(text);
    std::string errors;
    Json::CharReaderBuilder builder;
    if (!Json::parseFromStream(builder, in, &value, &errors))
        throw std::runtime_error("test JSON: " + errors);
    return value;
}

std::string defaultText(const Json::Value& value)
{
    return Json::writeString(Json::StreamWriterBuilder(), value);
}

std::string flat(const Json::Value& value)
{
    std::ostringstream out;
    flattenDocument(out, value);
    return out.str();
}

Json::Value sampleRequest()
{
    return parsed(R"({"momento": 1700000000123, "pin": "12 34", "push": true, "silent": false,
        "nothing": null, "ratio": -2.75, "serialNumber": "0a1b",
        "hashArray": [{"hash": "q83v", "id": 0}, {"hash": "Zm9v", "id": 1}],
        "nested": {"b": "B", "a": "A", "on": true}, "texto": "a\u00e7\u00e3o"})");
}

} // namespace

// ---------------------------------------------------------------- flattening

TEST(FlattenDocument, MembersByNameEachByItsType)
{
    for (const auto& [json, expected] : std::vector<std::pair<std::string, std::string>>{
             {R"({"push": true, "off": false, "b": "2", "a": "1", "c": null})", "12push"},
             {R"({"r": 2.9, "n": -2.9, "big": 9007199254740993})", "9007199254740993-22"},
             {R"({"list": [{"z": "1", "y": "2"}, {"x": true}], "k": {"j": "3"}})", "3" "21" "x"}})
        EXPECT_EQ(flat(parsed(json)), expected) << json;
    EXPECT_EQ(flat(sampleRequest()),
              "q83v0Zm9v1" "1700000000123" "ABon" "" "12 34" "push" "-2" "0a1b" "" "a\xC3\xA7\xC3\xA3o");
    EXPECT_EQ(flat(Json::Value("loose text")), "");
}

// ---------------------------------------------------------------- plain posts

class PostDocument : public NetworkTest {
protected:
    Json::Value request_ = parsed(R"({"installationCode": "abc", "count": 2})");
    Json::Value reply_;
    std::wstring mark_;
    std::int64_t freshness_ = 0;
};

TEST_F(PostDocument, PostsTheDefaultJsonTextAndReadsTheAnswer)
{
    ScriptedServer server(script(answer(200, R"({"status": true, "code": "x1"})")));
    const DocumentOutcome outcome = postDocument(server.url(L"/create"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.offline, 0);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(reply_["code"].asString(), "x1");
    const Json::Value sent = server.requests().at(0);
    EXPECT_EQ(sent["method"].asString(), "POST");
    EXPECT_EQ(sent["body"].asString(), "{\n\t\"count\" : 2,\n\t\"installationCode\" : \"abc\"\n}");
    EXPECT_EQ(recordedHeader(sent, "Content-Type"), "application/json");
    EXPECT_EQ(recordedHeader(sent, "Accept"), "application/json, */*");
    EXPECT_EQ(recordedHeader(sent, "If-Modified-Since"), "");
    EXPECT_EQ(recordedHeader(sent, "Authorization"), "");
}

TEST_F(PostDocument, MarkAndFreshnessFollowTheAnswers)
{
    ScriptedServer server(script(
        answer(200, "{}", R"([["Last-Modified", "Wed, 02 Oct 2024 08:00:00 GMT"],
                              ["Cache-Control", "private, max-age=300, max-age=5"]])") + ","
        + answer(304, "", R"([["Cache-Control", "max-age=90"]])") + ","
        + answer(500, "{}", R"([["Cache-Control", "max-age=7"]])") + ","
        + answer(200, "{}", R"([["Cache-Control", "no-cache"]])")));
    postDocument(server.url(L"/"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(mark_, L"Wed, 02 Oct 2024 08:00:00 GMT");
    EXPECT_EQ(freshness_, 300);

    // Not modified: mark and reply stay, the freshness is the new one.
    reply_ = parsed(R"({"earlier": "kept"})");
    DocumentOutcome outcome = postDocument(server.url(L"/listHierarchies"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.offline, 0);
    EXPECT_EQ(outcome.httpStatus, 304);
    EXPECT_EQ(mark_, L"Wed, 02 Oct 2024 08:00:00 GMT");
    EXPECT_EQ(reply_, parsed(R"({"earlier": "kept"})"));
    EXPECT_EQ(freshness_, 90);
    EXPECT_EQ(recordedHeader(server.requests().at(1), "If-Modified-Since"), "Wed, 02 Oct 2024 08:00:00 GMT");

    // A failed answer's max-age counts for nothing; a success without one
    // leaves it and replaces the mark, even with nothing.
    postDocument(server.url(L"/"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(freshness_, 90);
    postDocument(server.url(L"/"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(freshness_, 90);
    EXPECT_EQ(mark_, L"");
}

TEST_F(PostDocument, AuthorizedPostCarriesTheValueGiven)
{
    ScriptedServer server(script(answer(201, R"({"ok": 1})")));
    const DocumentOutcome outcome
        = postAuthorizedDocument(server.url(L"/api"), L"Basic dXNlcjpwdw==", request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.httpStatus, 201);
    EXPECT_EQ(recordedHeader(server.requests().at(0), "Authorization"), "Basic dXNlcjpwdw==");
}

class PostingFaults : public PostDocument {};

TEST_F(PostingFaults, UnreachableIsOfflineWithTheTextInMensagemButABadUrlThrows)
{
    const unsigned port = freeLoopbackPort();
    const std::wstring url = L"http://127.0.0.1:" + std::to_wstring(port) + L"/create";
    mark_ = L"unchanged";
    const DocumentOutcome outcome = postDocument(url, request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.offline, 1);
    EXPECT_EQ(outcome.httpStatus, 0);
    Json::Value expected;
    expected["mensagem"] = "127.0.0.1:" + std::to_string(port) + "/create | (7) Couldn't connect to server: Unreachable";
    EXPECT_EQ(reply_, expected);
    EXPECT_EQ(mark_, L"unchanged");

    Json::Value authorized;
    EXPECT_EQ(postAuthorizedDocument(L"https://kestrel.invalid/api", L"x", request_, authorized, mark_, freshness_)
                  .offline,
              1);
    EXPECT_EQ(authorized["mensagem"].asString(), "kestrel.invalid:443/api | (6) Couldn't resolve host name: Unreachable");

    EXPECT_THROW(postDocument(L"ftp://h/", request_, reply_, mark_, freshness_), std::runtime_error);
}

TEST_F(PostingFaults, SuccessWithABodyThatIsNotJsonRaisesTheParserText)
{
    ScriptedServer server(script(answer(200, "<html>oops</html>")));
    EXPECT_THROW(postDocument(server.url(L"/"), request_, reply_, mark_, freshness_), valmora::signer::BaseException);
}

TEST_F(PostingFaults, ErrorAnswersAreReadWhenJsonAndIgnoredOtherwise)
{
    ScriptedServer server(script(answer(500, "Internal error, not JSON") + "," + answer(403, R"({"message": "no"})")));
    DocumentOutcome outcome = postDocument(server.url(L"/"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.offline, 0);
    EXPECT_EQ(outcome.httpStatus, 500);
    EXPECT_TRUE(reply_.isNull());
    outcome = postDocument(server.url(L"/"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.httpStatus, 403);
    EXPECT_EQ(reply_["message"].asString(), "no");
}

TEST_F(PostingFaults, BodyCutInTheMiddleRaisesNothingByItself)
{
    // The first half of this body is a whole document; the rest is padding.
    const std::string body = R"({"status": true})" + std::string(64, ' ');
    ScriptedServer server(script(answer(200, body, "[]", R"(, "cut": true)") + ","
                                 + answer(502, R"({"status": false, "message": "cut"})", "[]", R"(, "cut": true)")));
    DocumentOutcome outcome = postDocument(server.url(L"/"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_TRUE(reply_["status"].asBool());
    Json::Value other;
    EXPECT_NO_THROW(outcome = postDocument(server.url(L"/"), request_, other, mark_, freshness_));
    EXPECT_EQ(outcome.httpStatus, 502);
    EXPECT_TRUE(other.isNull());
}

TEST_F(PostingFaults, InvalidClientReadsAsConnectionError)
{
    // An initial proxy authentication the user cancels leaves the client
    // invalid before anything is sent.
    writeProxySettings(true, L"3", L"127.0.0.1:9", true);
    const std::wstring url = L"http://127.0.0.1:9/x";
    DocumentOutcome outcome = postDocument(url, request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.offline, 1);
    EXPECT_EQ(reply_["mensagem"].asString(), "http://127.0.0.1:9/x - Connection error: Unreachable");

    Json::Value authorized;
    outcome = postAuthorizedDocument(url, L"x", request_, authorized, mark_, freshness_);
    EXPECT_EQ(outcome.offline, 1);
    EXPECT_EQ(authorized["mensagem"].asString(), "http://127.0.0.1:9/x - Erro de conex\xC3\xA3o");
    EXPECT_EQ(prompt_->questions(), 2);
}

// ---------------------------------------------------------------- signatures

class SignedPosts : public NetworkTest {
protected:
    static void SetUpTestSuite()
    {
        // The key lives in the process-wide repository, the one that signs
        // the agent's requests, on a SoftHSM2 token in the test's folders.
        keyName_ = TempKeyStore::newKeyName();
        auto& repository = valmora::signer::SystemRepository::processWide();
        repository.createNamedKey(keyName_, 2048);
        keyFolder_ = std::make_unique<TempDir>();
        writeFile(keyFolder_->file("agent.pem"), repository.publicKeyOfNamedKey(keyName_).toPem());
    }
    static void TearDownTestSuite() { keyFolder_.reset(); }

    static std::string publicKeyFile() { return keyFolder_->file("agent.pem"); }

    static std::wstring keyName_;
    static std::unique_ptr<TempDir> keyFolder_;
    Json::Value reply_;
    std::wstring mark_;
};

std::wstring SignedPosts::keyName_;
std::unique_ptr<TempDir> SignedPosts::keyFolder_;

TEST_F(SignedPosts, EnvelopeSignatureCoversTheExactContentData)
{
    const std::string inner = R"({"status": true, "devices": ["a"]})";
    Json::Value answerEnvelope;
    answerEnvelope["contentData"] = inner;
    answerEnvelope["signature"] = "not checked by the agent";
    ScriptedServer server(
        script(answer(200, defaultText(answerEnvelope), R"([["Last-Modified", "Thu, 03 Oct 2024 09:00:00 GMT"]])")),
        "good", publicKeyFile());
    const Json::Value request = sampleRequest();

    const DocumentOutcome outcome = postSignedEnvelope(server.url(L"/requestAuthorization/ic1"), keyName_, request,
                                                       reply_, mark_);
    EXPECT_EQ(outcome.offline, 0);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(reply_, parsed(inner));
    EXPECT_EQ(mark_, L"Thu, 03 Oct 2024 09:00:00 GMT");

    const Json::Value sent = server.requests().at(0);
    EXPECT_TRUE(sent["envelopeVerified"].asBool());
    const Json::Value envelope = parsed(sent["body"].asString());
    EXPECT_EQ(envelope.getMemberNames(), (std::vector<std::string>{"contentData", "signature"}));
    EXPECT_EQ(envelope["contentData"].asString(), defaultText(request));
    EXPECT_EQ(sent["body"].asString(), defaultText(envelope));
}

TEST_F(SignedPosts, EnvelopeAnswersThatAreNotJsonInsideOrNotEnvelopes)
{
    ScriptedServer server(script(answer(200, R"({"contentData": "plain words"})") + ","
                                 + answer(200, R"({"status": true})") + ","
                                 + answer(400, R"({"message": "bad envelope"})")));
    const Json::Value request = parsed(R"({"a": "1"})");
    postSignedEnvelope(server.url(L"/isAuthorized/"), keyName_, request, reply_, mark_);
    EXPECT_EQ(reply_, Json::Value("plain words"));

    Json::Value second;
    postSignedEnvelope(server.url(L"/isAuthorized/"), keyName_, request, second, mark_);
    EXPECT_EQ(second, Json::Value(""));

    Json::Value third;
    const DocumentOutcome outcome = postSignedEnvelope(server.url(L"/isAuthorized/"), keyName_, request, third, mark_);
    EXPECT_EQ(outcome.httpStatus, 400);
    EXPECT_EQ(third["message"].asString(), "bad envelope");
}

TEST_F(SignedPosts, EnvelopeOfflineAndNotModified)
{
    const std::wstring url = L"http://127.0.0.1:" + std::to_wstring(freeLoopbackPort()) + L"/listCertificates/ic";
    DocumentOutcome outcome = postSignedEnvelope(url, keyName_, parsed(R"({"a": "1"})"), reply_, mark_);
    EXPECT_EQ(outcome.offline, 1);
    EXPECT_NE(reply_["mensagem"].asString().find(" | (7) "), std::string::npos);

    ScriptedServer server(script(answer(304, "", R"([["Cache-Control", "max-age=60"]])")));
    Json::Value untouched = parsed(R"({"kept": true})");
    mark_ = L"Fri, 04 Oct 2024 00:00:00 GMT";
    outcome = postSignedEnvelope(server.url(L"/listCertificates/ic"), keyName_, parsed(R"({"a": "1"})"), untouched,
                                 mark_);
    EXPECT_EQ(outcome.httpStatus, 304);
    EXPECT_EQ(untouched, parsed(R"({"kept": true})"));
    EXPECT_EQ(mark_, L"Fri, 04 Oct 2024 00:00:00 GMT");
}

TEST_F(SignedPosts, BearerTokenSignsTheFlattenedRequest)
{
    ScriptedServer server(script(answer(200, R"({"status": true, "token": "t"})")), "good", publicKeyFile());
    const Json::Value request = sampleRequest();
    const DocumentOutcome outcome
        = postBearerSigned(server.url(L"/api/signature/tokensessao"), keyName_, request, reply_, mark_);
    EXPECT_EQ(outcome.offline, 0);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(reply_["token"].asString(), "t");

    const Json::Value sent = server.requests().at(0);
    EXPECT_TRUE(sent["bearerVerified"].asBool());
    EXPECT_EQ(sent["body"].asString(), defaultText(request));
    const std::string authorization = recordedHeader(sent, "Authorization");
    ASSERT_EQ(authorization.rfind("Bearer ", 0), 0u);
    EXPECT_EQ(authorization.size(), 7u + 344u);   // base64 of a 2048-bit signature
}

TEST_F(SignedPosts, UnknownKeyFailsAsTheKeyStoreSaysNotAsOffline)
{
    ScriptedServer server;
    EXPECT_ANY_THROW(postSignedEnvelope(server.url(L"/"), L"Orvane.no-such-key", parsed(R"({"a": "1"})"),
                                        reply_, mark_));
    EXPECT_ANY_THROW(postBearerSigned(server.url(L"/"), L"Orvane.no-such-key", parsed(R"({"a": "1"})"),
                                      reply_, mark_));
    EXPECT_TRUE(server.requests().empty());
}
