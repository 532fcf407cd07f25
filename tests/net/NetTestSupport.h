#pragma once

// Real servers for the network tests: the scripted HTTP(S) server of
// tests/mock (Python, loopback, a port the system picks), tinyproxy with
// Basic authentication, test certificates, and a prompt that answers from a
// script. Everything is stopped when its object goes.

#include "config/ProxySettings.h"
#include "net/HttpClientDownloader.h"
#include "net/ProxyCredentialPrompt.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/EnvironmentScope.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace orvane::test {

// A port on 127.0.0.1 that nothing listens on right now.
unsigned freeLoopbackPort();

// Certificates made once for the whole test program (see the server
// script's "certs" command): ca, good, expired, otherhost, selfsigned.
const TempDir& testCertificates();

class ScriptedServer {
public:
    // `script`: the answers (see the server script); `certificate`: a stem
    // in testCertificates() for TLS ("good"...), empty for plain HTTP;
    // `verifyKeyPem`: a public key file with which signatures are checked
    // and recorded; `proxyAuth` ("user:password"): every request without
    // those Basic proxy credentials is answered 407, as a proxy would.
    explicit ScriptedServer(const std::string& script = R"({"responses": [{"status": 200, "body": "{}"}]})",
                            const std::string& certificate = {}, const std::string& verifyKeyPem = {},
                            const std::string& proxyAuth = {});
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    unsigned port() const { return port_; }
    // "http(s)://127.0.0.1:<port>" followed by the path.
    std::wstring url(const std::wstring& path = L"/") const;
    // The requests received so far, oldest first.
    std::vector<Json::Value> requests() const;

private:
    TempDir dir_;
    bool secure_;
    std::unique_ptr<BackgroundProcess> process_;
    unsigned port_ = 0;
};

// The first value of a header in a recorded request; empty when absent.
std::string recordedHeader(const Json::Value& request, const std::string& name);

class TinyProxy {
public:
    TinyProxy(const std::string& user, const std::string& password);
    ~TinyProxy();
    TinyProxy(const TinyProxy&) = delete;
    TinyProxy& operator=(const TinyProxy&) = delete;

    unsigned port() const { return port_; }
    std::wstring address() const;   // "127.0.0.1:<port>"
    std::string log() const;

private:
    TempDir dir_;
    std::unique_ptr<BackgroundProcess> process_;
    unsigned port_ = 0;
};

// Answers the proxy prompt from a script and counts the questions.
class ScriptedPrompt : public valmora::net::ProxyCredentialPrompt {
public:
    struct Answer {
        int result = 0;
        std::wstring user;
        std::wstring password;
    };
    explicit ScriptedPrompt(std::deque<Answer> answers) : answers_(std::move(answers)) {}

    int ask(std::wstring& user, std::wstring& password) override;
    int questions() const { return questions_; }
    std::thread::id lastThread() const { return lastThread_; }

private:
    std::thread::id lastThread_;
    std::deque<Answer> answers_;
    int questions_ = 0;
};

// Installs a prompt for the life of the object; empties the credential
// buffers before and after, so no test sees another's typing.
class PromptScope {
public:
    explicit PromptScope(std::shared_ptr<valmora::net::ProxyCredentialPrompt> prompt);
    ~PromptScope();

private:
    std::shared_ptr<valmora::net::ProxyCredentialPrompt> previous_;
};

void clearProxyCredentials();

// Writes proxy.properties in the test's user data folder.
void writeProxySettings(bool enable, const std::wstring& mode, const std::wstring& httpsAddress = {},
                        bool initialAuthenticate = false);

// Base of the network tests: no proxy variables in the environment, a
// proxy file that says "direct", empty credential buffers, and a prompt that
// refuses and counts how often it was asked.
class NetworkTest : public ::testing::Test {
protected:
    NetworkTest();
    ~NetworkTest() override;

    std::shared_ptr<ScriptedPrompt> prompt_ = std::make_shared<ScriptedPrompt>(std::deque<ScriptedPrompt::Answer>{});

private:
    std::vector<std::unique_ptr<EnvironmentScope>> environment_;
    std::unique_ptr<PromptScope> promptScope_;
};

// The whole body of a stream.
std::string readAll(std::istream& stream);

// One scripted answer (see the server script) and a script of answers.
std::string answer(int status, const std::string& body, const std::string& headers = "[]",
                   const std::string& extra = {});
std::string script(const std::string& answers);

// Posts {"a": 1} as JSON and returns the answer's body.
std::string postJson(valmora::net::HttpClientDownloader& client);

} // namespace orvane::test
