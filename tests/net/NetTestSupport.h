#pragma once

// Real servers for the network tests, stopped when their object goes: the
// scripted HTTP(S) server of tests/mock and tinyproxy with Basic
// authentication; and a prompt that answers from a script.

#include "config/ProxySettings.h"
#include "net/HttpClientDownloader.h"
#include "net/ProxyCredentialPrompt.h"
#include "net/ProxyCredentials.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/EnvironmentScope.h"
#include "tests/mock/TempDir.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <deque>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace orvane::test {

inline const std::string serverScript = std::string(ORVANE_SOURCE_DIR) + "/tests/mock/scripted_http_server.py";

inline sockaddr_in loopback(unsigned port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A port on 127.0.0.1 that nothing listens on right now.
inline unsigned freeLoopbackPort()
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (descriptor < 0 || ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), length) != 0
        || ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::runtime_error("no free port");
    ::close(descriptor);
    return ntohs(address.sin_port);
}

inline bool accepting(unsigned port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(port);
    const bool connected
        = descriptor >= 0 && ::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor);
    return connected;
}

// Starts a helper that is to listen on `port` and waits, for ten seconds at
// most, until it does. The port is picked free and handed over, as tinyproxy
// cannot report one it chose itself; a clash only fails the start.
inline std::unique_ptr<BackgroundProcess> startListening(const std::vector<std::string>& argv, unsigned port)
{
    auto process = std::make_unique<BackgroundProcess>(argv);
    for (int round = 0; round < 200 && process->running() && !accepting(port); ++round)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (!process->running() || !accepting(port))
        throw std::runtime_error("test helper did not start: " + argv[0]);
    return process;
}

class ScriptedServer {
public:
    // `script`: the answers (see the server script); `certificate`: a test
    // certificate ("good", "expired", "otherhost", "selfsigned") for TLS,
    // empty for plain HTTP; `verifyKeyPem`: a public key file with which
    // signatures are checked and recorded; `proxyAuth` ("user:password"):
    // every request without those Basic proxy credentials is answered 407.
    explicit ScriptedServer(const std::string& script = R"({"responses": []})", const std::string& certificate = {},
                            const std::string& verifyKeyPem = {}, const std::string& proxyAuth = {})
        : secure_(!certificate.empty()), port_(freeLoopbackPort())
    {
        writeFile(dir_.file("script.json"), script);
        std::vector<std::string> argv{ORVANE_SYSTEM_PYTHON, serverScript, "serve", "--port", std::to_string(port_),
                                      "--record", dir_.file("requests.jsonl"), "--script", dir_.file("script.json")};
        if (secure_)
            argv.insert(argv.end(), {"--cert", certificates().file(certificate + ".pem"),
                                     "--key", certificates().file(certificate + ".key")});
        if (!verifyKeyPem.empty())
            argv.insert(argv.end(), {"--verify-key", verifyKeyPem});
        if (!proxyAuth.empty())
            argv.insert(argv.end(), {"--proxy-auth", proxyAuth});
        process_ = startListening(argv, port_);
    }

    unsigned port() const { return port_; }
    // "http(s)://127.0.0.1:<port>" followed by the path.
    std::wstring url(const std::wstring& path = L"/") const
    {
        return std::wstring(secure_ ? L"https" : L"http") + L"://127.0.0.1:" + std::to_wstring(port_) + path;
    }

    // The requests received so far, oldest first.
    std::vector<Json::Value> requests() const
    {
        std::vector<Json::Value> result;
        std::istringstream lines(readFile(dir_.file("requests.jsonl")));
        std::string errors;
        for (std::string line; std::getline(lines, line);) {
            std::istringstream text(line);
            if (!Json::parseFromStream(Json::CharReaderBuilder(), text, &result.emplace_back(), &errors))
                result.pop_back();
        }
        return result;
    }

private:
    // Made once for the whole test program (see the server script's "certs").
    static const TempDir& certificates()
    {
        static TempDir folder;
        static const ProcessResult made = runProcess({ORVANE_SYSTEM_PYTHON, serverScript, "certs", folder.path()});
        if (made.exitCode != 0)
            throw std::runtime_error("certificates not made: " + made.err);
        return folder;
    }

    TempDir dir_;
    bool secure_;
    unsigned port_;
    std::unique_ptr<BackgroundProcess> process_;
};

// A header of a recorded request by its lower-case name; empty when absent.
inline std::string header(const Json::Value& request, const char* name)
{
    return request["headers"].get(name, "").asString();
}

class TinyProxy {
public:
    TinyProxy(const std::string& user, const std::string& password) : port_(freeLoopbackPort())
    {
        writeFile(dir_.file("tinyproxy.conf"), "Port " + std::to_string(port_) + "\nListen 127.0.0.1\nTimeout 20\n"
                                               "MaxClients 20\nBasicAuth " + user + " " + password + "\nLogFile \""
                                               + dir_.file("tinyproxy.log") + "\"\nLogLevel Connect\n");
        process_ = startListening({"/usr/bin/tinyproxy", "-d", "-c", dir_.file("tinyproxy.conf")}, port_);
    }

    unsigned port() const { return port_; }
    std::wstring address() const { return L"127.0.0.1:" + std::to_wstring(port_); }
    std::string log() const { return readFile(dir_.file("tinyproxy.log")); }

private:
    TempDir dir_;
    unsigned port_;
    std::unique_ptr<BackgroundProcess> process_;
};

// Answers the proxy prompt from a script, cancelling once it runs out, and
// counts the questions.
struct ScriptedPrompt : valmora::net::ProxyCredentialPrompt {
    struct Answer {
        int result = 0;
        std::wstring user;
        std::wstring password;
    };

    int ask(std::wstring& user, std::wstring& password) override
    {
        ++questions;
        lastThread = std::this_thread::get_id();
        if (answers.empty())
            return 1;
        const Answer answer = answers.front();
        answers.pop_front();
        user = answer.user;
        password = answer.password;
        return answer.result;
    }

    std::deque<Answer> answers;
    int questions = 0;
    std::thread::id lastThread;
};

// Empties the process-wide credential buffers.
inline void clearProxyCredentials()
{
    std::fill(std::begin(valmora::net::proxyUserBuffer), std::end(valmora::net::proxyUserBuffer), u'\0');
    std::fill(std::begin(valmora::net::proxyPasswordBuffer), std::end(valmora::net::proxyPasswordBuffer), u'\0');
}

// Writes proxy.properties in the test's user data folder.
inline void writeProxySettings(bool enable, const std::wstring& mode, const std::wstring& httpsAddress = {},
                               bool initialAuthenticate = false)
{
    orvane::model::ProxySettings settings;
    settings.enable = enable;
    settings.mode = mode;
    settings.addressHttps = httpsAddress;
    settings.initialAuthenticate = initialAuthenticate;
    orvane::model::saveProxySettings(settings);
}

// Base of the network tests: no proxy variables in the environment, a
// proxy file that says "direct", credential buffers empty before and after,
// and a prompt that refuses and counts how often it was asked.
class NetworkTest : public ::testing::Test {
protected:
    NetworkTest()
    {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTPS_PROXY", "ALL_PROXY",
                                 "NO_PROXY"})
            environment_.push_back(std::make_unique<EnvironmentScope>(name, nullptr));
        writeProxySettings(false, L"1");
        clearProxyCredentials();
        answers({});
    }
    ~NetworkTest() override
    {
        valmora::net::ProxyCredentialPrompt::install(previousPrompt_);
        clearProxyCredentials();
    }

    // Installs a prompt with these answers in place of the refusing one.
    void answers(std::deque<ScriptedPrompt::Answer> script)
    {
        prompt_ = std::make_shared<ScriptedPrompt>();
        prompt_->answers = std::move(script);
        auto replaced = valmora::net::ProxyCredentialPrompt::install(prompt_);
        if (!previousPrompt_)
            previousPrompt_ = std::move(replaced);
    }

    std::shared_ptr<ScriptedPrompt> prompt_;

private:
    std::vector<std::unique_ptr<EnvironmentScope>> environment_;
    std::shared_ptr<valmora::net::ProxyCredentialPrompt> previousPrompt_;
};

// The whole body of a stream.
inline std::string readAll(std::istream& stream)
{
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

// One scripted answer (see the server script) and a script of answers.
inline std::string answer(int status, const std::string& body, const std::string& headers = "[]",
                          const std::string& extra = {})
{
    return R"({"status": )" + std::to_string(status) + R"(, "headers": )" + headers + R"(, "body": )"
        + Json::valueToQuotedString(body.c_str()) + extra + "}";
}

inline std::string script(const std::string& answers)
{
    return R"({"responses": [)" + answers + "]}";
}

// Posts {"a": 1} as JSON and returns the answer's body.
inline std::string postJson(valmora::net::HttpClientDownloader& client)
{
    client.setMethod(1);
    client.addAccept(L"application/json");
    client.setContentType(L"application/json");
    const std::string body = R"({"a": 1})";
    client.setBody(valmora::signer::Bytes(body.begin(), body.end()));
    return readAll(client.openStream(L""));
}

} // namespace orvane::test
