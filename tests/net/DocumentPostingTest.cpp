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
using valmora::net::postAuthorizedDocument;
using valmora::net::postBearerSigned;
using valmora::net::postDocument;
using valmora::net::postSignedEnvelope;

namespace {

Json::Value parsed(const std::string& text)
{
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

} // namespace

class PostDocument : public NetworkTest {
protected:
    Json::Value request_ = parsed(R"({"installationCode": "abc", "count": 2})");
    Json::Value reply_;
    std::wstring mark_;
    std::int64_t freshness_ = 0;
};

TEST_F(PostDocument, PostsTheDefaultJsonTextAndFollowsTheMarkAndFreshness)
{
    ScriptedServer server(script(
        answer(200, R"({"code": "x1"})", R"([["Last-Modified", "Wed, 02 Oct 2024 08:00:00 GMT"],
                                            ["Cache-Control", "private, max-age=300, max-age=5"]])") + ","
        + answer(304, "", R"([["Cache-Control", "max-age=90"]])") + ","
        + answer(500, "{}", R"([["Cache-Control", "max-age=7"]])") + ","
        + answer(201, "{}", R"([["Cache-Control", "no-cache"]])")));
    DocumentOutcome outcome = postDocument(server.url(L"/create"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(reply_["code"].asString(), "x1");
    EXPECT_EQ(mark_, L"Wed, 02 Oct 2024 08:00:00 GMT");
    EXPECT_EQ(freshness_, 300);

    // Not modified: mark and reply stay, the freshness is the new one.
    outcome = postDocument(server.url(L"/listHierarchies"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.httpStatus, 304);
    EXPECT_EQ(mark_, L"Wed, 02 Oct 2024 08:00:00 GMT");
    EXPECT_EQ(reply_["code"].asString(), "x1");
    EXPECT_EQ(freshness_, 90);

    // A failed answer's max-age counts for nothing; a success without one
    // leaves it and replaces the mark, even with nothing.
    postDocument(server.url(L"/"), request_, reply_, mark_, freshness_);
    EXPECT_EQ(freshness_, 90);
    outcome = postAuthorizedDocument(server.url(L"/api"), L"Basic dXNlcjpwdw==", request_, reply_, mark_, freshness_);
    EXPECT_EQ(outcome.httpStatus, 201);
    EXPECT_EQ(freshness_, 90);
    EXPECT_EQ(mark_, L"");

    const auto sent = server.requests();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent[0]["method"].asString(), "POST");
    EXPECT_EQ(sent[0]["body"].asString(), "{\n\t\"count\" : 2,\n\t\"installationCode\" : \"abc\"\n}");
    EXPECT_EQ(header(sent[0], "content-type"), "application/json");
    EXPECT_EQ(header(sent[0], "accept"), "application/json, */*");
    EXPECT_EQ(header(sent[0], "if-modified-since"), "");
    EXPECT_EQ(header(sent[0], "authorization"), "");
    EXPECT_EQ(header(sent[1], "if-modified-since"), "Wed, 02 Oct 2024 08:00:00 GMT");
    EXPECT_EQ(header(sent[3], "authorization"), "Basic dXNlcjpwdw==");
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
    expected["mensagem"]
        = "127.0.0.1:" + std::to_string(port) + "/create | (7) Couldn't connect to server: Unreachable";
    EXPECT_EQ(reply_, expected);
    EXPECT_EQ(mark_, L"unchanged");
    EXPECT_THROW(postDocument(L"ftp://h/", request_, reply_, mark_, freshness_), std::runtime_error);
}

TEST_F(PostingFaults, OnlyASuccessMustBeJsonAndErrorAnswersAreReadWhenTheyAre)
{
    ScriptedServer server(script(answer(200, "<html>oops</html>") + "," + answer(500, "Internal error, not JSON")
                                 + "," + answer(403, R"({"message": "no"})")));
    EXPECT_THROW(postDocument(server.url(L"/"), request_, reply_, mark_, freshness_), valmora::signer::BaseException);
    for (const auto& [status, expected] : {std::pair{500, "null"}, std::pair{403, R"({"message": "no"})"}}) {
        Json::Value reply;
        EXPECT_EQ(postDocument(server.url(L"/"), request_, reply, mark_, freshness_).httpStatus, status);
        EXPECT_EQ(reply, parsed(expected)) << status;
    }
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
    EXPECT_EQ(prompt_->questions, 2);
}

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

    static inline std::wstring keyName_;
    static inline std::unique_ptr<TempDir> keyFolder_;
    Json::Value reply_;
    std::wstring mark_;
};

TEST_F(SignedPosts, TheServerVerifiesTheEnvelopeOverContentDataAndTheBearerOverTheFlattenedRequest)
{
    // Every kind of member the flattening treats on its own: big and negative
    // fractional numbers, both booleans, null, nested arrays and objects,
    // names that sort differently by byte and by letter, text beyond ASCII.
    const Json::Value request = parsed(R"({"momento": 1700000000123, "big": 9007199254740993, "ratio": -2.75,
        "pin": "12 34", "push": true, "silent": false, "nothing": null, "Zeta": "Z", "a\u00e7\u00e3o": "a\u00e7\u00e3o",
        "hashArray": [{"hash": "q83v", "id": 0}, {"hash": "Zm9v", "id": 1}], "matrix": [[{"b": "B", "a": "A"}]],
        "nested": {"b": "B", "a": "A", "on": true, "off": false}})");
    ScriptedServer server(
        script(answer(200, R"({"contentData": "{\"status\": true, \"devices\": [\"a\"]}", "signature": "unchecked"})",
                      R"([["Last-Modified", "Thu, 03 Oct 2024 09:00:00 GMT"]])")
               + "," + answer(200, R"({"status": true, "token": "t"})")),
        "good", keyFolder_->file("agent.pem"));

    DocumentOutcome outcome = postSignedEnvelope(server.url(L"/requestAuthorization/ic1"), keyName_, request,
                                                 reply_, mark_);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(reply_, parsed(R"({"status": true, "devices": ["a"]})"));
    EXPECT_EQ(mark_, L"Thu, 03 Oct 2024 09:00:00 GMT");

    Json::Value token;
    outcome = postBearerSigned(server.url(L"/api/signature/tokensessao"), keyName_, request, token, mark_);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(token["token"].asString(), "t");

    const auto sent = server.requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_TRUE(sent[0]["envelopeVerified"].asBool());
    const Json::Value envelope = parsed(sent[0]["body"].asString());
    EXPECT_EQ(envelope.getMemberNames(), (std::vector<std::string>{"contentData", "signature"}));
    EXPECT_EQ(parsed(envelope["contentData"].asString()), request);
    EXPECT_TRUE(sent[1]["bearerVerified"].asBool());
    EXPECT_EQ(parsed(sent[1]["body"].asString()), request);
}

TEST_F(SignedPosts, EnvelopeAnswersThatAreNotModifiedNotJsonInsideNotEnvelopesOrNone)
{
    const std::wstring url = L"http://127.0.0.1:" + std::to_wstring(freeLoopbackPort()) + L"/listCertificates/ic";
    EXPECT_EQ(postSignedEnvelope(url, keyName_, parsed("{}"), reply_, mark_).offline, 1);
    EXPECT_NE(reply_["mensagem"].asString().find(" | (7) "), std::string::npos);

    // Not modified: reply and mark stay. Errors are plain documents.
    mark_ = L"Fri, 04 Oct 2024 00:00:00 GMT";
    ScriptedServer server(script(answer(304, "") + "," + answer(400, R"({"message": "bad envelope"})") + ","
                                 + answer(200, R"({"contentData": "plain words"})") + ","
                                 + answer(200, R"({"status": true})")));
    for (const auto& [status, expected] :
         {std::pair{304, parsed(R"({"kept": true})")}, std::pair{400, parsed(R"({"message": "bad envelope"})")},
          std::pair{200, Json::Value("plain words")}, std::pair{200, Json::Value("")}}) {
        Json::Value reply = parsed(R"({"kept": true})");
        EXPECT_EQ(postSignedEnvelope(server.url(L"/"), keyName_, parsed("{}"), reply, mark_).httpStatus, status);
        EXPECT_EQ(reply, expected);
        if (status == 304) {
            EXPECT_EQ(mark_, L"Fri, 04 Oct 2024 00:00:00 GMT");
        }
    }
}

TEST_F(SignedPosts, UnknownKeyFailsAsTheKeyStoreSaysNotAsOffline)
{
    ScriptedServer server;
    EXPECT_ANY_THROW(postSignedEnvelope(server.url(L"/"), L"Orvane.no-such-key", parsed("{}"), reply_, mark_));
    EXPECT_ANY_THROW(postBearerSigned(server.url(L"/"), L"Orvane.no-such-key", parsed("{}"), reply_, mark_));
    EXPECT_TRUE(server.requests().empty());
}
