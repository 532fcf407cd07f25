#include "tests/net/NetTestSupport.h"

#include "net/ProxyCredentials.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace orvane::test {

namespace {

const std::string serverScript = std::string(ORVANE_SOURCE_DIR) + "/tests/mock/scripted_http_server.py";

sockaddr_in loopback(unsigned port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool accepting(unsigned port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    if (descriptor < 0)
        return false;
    sockaddr_in address = loopback(port);
    const bool connected = ::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor);
    return connected;
}

// Waits, for ten seconds at most, until `ready` holds.
template <typename Ready>
void waitFor(Ready ready, const char* what)
{
    for (int round = 0; round < 200; ++round) {
        if (ready())
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error(std::string("test helper did not start: ") + what);
}

} // namespace

unsigned freeLoopbackPort()
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    if (descriptor < 0 || ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("no free port");
    socklen_t length = sizeof address;
    ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(descriptor);
    return ntohs(address.sin_port);
}

const TempDir& testCertificates()
{
    static TempDir folder;
    static const bool made = [] {
        const ProcessResult result = runProcess({ORVANE_SYSTEM_PYTHON, serverScript, "certs", folder.path()});
        if (result.exitCode != 0)
            throw std::runtime_error("certificates not made: " + result.err);
        return true;
    }();
    (void)made;
    return folder;
}

ScriptedServer::ScriptedServer(const std::string& script, const std::string& certificate,
                               const std::string& verifyKeyPem, const std::string& proxyAuth)
    : secure_(!certificate.empty())
{
    writeFile(dir_.file("script.json"), script);
    std::vector<std::string> argv{ORVANE_SYSTEM_PYTHON, serverScript, "serve",
                                  "--port-file", dir_.file("port"),
                                  "--record", dir_.file("requests.jsonl"),
                                  "--script", dir_.file("script.json")};
    if (secure_) {
        const TempDir& certificates = testCertificates();
        argv.insert(argv.end(), {"--cert", certificates.file(certificate + ".pem"),
                                 "--key", certificates.file(certificate + ".key")});
    }
    if (!verifyKeyPem.empty())
        argv.insert(argv.end(), {"--verify-key", verifyKeyPem});
    if (!proxyAuth.empty())
        argv.insert(argv.end(), {"--proxy-auth", proxyAuth});
    process_ = std::make_unique<BackgroundProcess>(argv);
    waitFor([this] { return !readFile(dir_.file("port")).empty() || !process_->running(); }, "server");
    const std::string port = readFile(dir_.file("port"));
    if (port.empty())
        throw std::runtime_error("test server ended before listening");
    port_ = static_cast<unsigned>(std::stoul(port));
}

ScriptedServer::~ScriptedServer() = default;

std::wstring ScriptedServer::url(const std::wstring& path) const
{
    return std::wstring(secure_ ? L"https" : L"http") + L"://127.0.0.1:" + std::to_wstring(port_) + path;
}

std::vector<Json::Value> ScriptedServer::requests() const
{
    std::vector<Json::Value> result;
    std::istringstream lines(readFile(dir_.file("requests.jsonl")));
    std::string line;
    Json::CharReaderBuilder builder;
    while (std::getline(lines, line)) {
        Json::Value value;
        std::istringstream text(line);
        std::string errors;
        if (Json::parseFromStream(builder, text, &value, &errors))
            result.push_back(value);
    }
    return result;
}

std::string recordedHeader(const Json::Value& request, const std::string& name)
{
    for (const Json::Value& header : request["headers"]) {
        std::string key = header[0].asString();
        if (key.size() == name.size()
            && std::equal(key.begin(), key.end(), name.begin(),
                          [](char a, char b) { return std::tolower(a) == std::tolower(b); }))
            return header[1].asString();
    }
    return {};
}

TinyProxy::TinyProxy(const std::string& user, const std::string& password)
{
    // The port is picked free and handed over; tinyproxy cannot report one
    // it chose itself. A clash only fails the start, which waitFor reports.
    port_ = freeLoopbackPort();
    writeFile(dir_.file("tinyproxy.conf"),
              "Port " + std::to_string(port_) + "\n"
              "Listen 127.0.0.1\n"
              "Timeout 20\n"
              "MaxClients 20\n"
              "BasicAuth " + user + " " + password + "\n"
              "LogFile \"" + dir_.file("tinyproxy.log") + "\"\n"
              "LogLevel Connect\n");
    process_ = std::make_unique<BackgroundProcess>(
        std::vector<std::string>{"/usr/bin/tinyproxy", "-d", "-c", dir_.file("tinyproxy.conf")});
    waitFor([this] { return accepting(port_) || !process_->running(); }, "tinyproxy");
    if (!process_->running())
        throw std::runtime_error("tinyproxy ended at start");
}

TinyProxy::~TinyProxy() = default;

std::wstring TinyProxy::address() const
{
    return L"127.0.0.1:" + std::to_wstring(port_);
}

std::string TinyProxy::log() const
{
    return readFile(dir_.file("tinyproxy.log"));
}

int ScriptedPrompt::ask(std::wstring& user, std::wstring& password)
{
    ++questions_;
    lastThread_ = std::this_thread::get_id();
    if (answers_.empty())
        return 1;
    const Answer answer = answers_.front();
    answers_.pop_front();
    user = answer.user;
    password = answer.password;
    return answer.result;
}

PromptScope::PromptScope(std::shared_ptr<valmora::net::ProxyCredentialPrompt> prompt)
{
    clearProxyCredentials();
    previous_ = valmora::net::ProxyCredentialPrompt::install(std::move(prompt));
}

PromptScope::~PromptScope()
{
    valmora::net::ProxyCredentialPrompt::install(previous_);
    clearProxyCredentials();
}

void clearProxyCredentials()
{
    std::fill(std::begin(valmora::net::proxyUserBuffer), std::end(valmora::net::proxyUserBuffer), u'\0');
    std::fill(std::begin(valmora::net::proxyPasswordBuffer), std::end(valmora::net::proxyPasswordBuffer), u'\0');
}

void writeProxySettings(bool enable, const std::wstring& mode, const std::wstring& httpsAddress,
                        bool initialAuthenticate)
{
    orvane::model::ProxySettings settings;
    settings.enable = enable;
    settings.mode = mode;
    settings.addressHttps = httpsAddress;
    settings.initialAuthenticate = initialAuthenticate;
    orvane::model::saveProxySettings(settings);
}

NetworkTest::NetworkTest()
{
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTPS_PROXY",
                              "ALL_PROXY", "NO_PROXY"})
        environment_.push_back(std::make_unique<EnvironmentScope>(name, nullptr));
    writeProxySettings(false, L"1");
    promptScope_ = std::make_unique<PromptScope>(prompt_);
}

NetworkTest::~NetworkTest() = default;

std::string readAll(std::istream& stream)
{
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::string answer(int status, const std::string& body, const std::string& headers, const std::string& extra)
{
    return R"({"status": )" + std::to_string(status) + R"(, "headers": )" + headers + R"(, "body": )"
        + Json::valueToQuotedString(body.c_str()) + extra + "}";
}

std::string script(const std::string& answers)
{
    return R"({"responses": [)" + answers + "]}";
}

std::string postJson(valmora::net::HttpClientDownloader& client)
{
    client.setMethod(1);
    client.addAccept(L"application/json");
    client.setContentType(L"application/json");
    const std::string body = R"({"a": 1})";
    client.setBody(valmora::signer::Bytes(body.begin(), body.end()));
    return readAll(client.openStream(L""));
}

} // namespace orvane::test
