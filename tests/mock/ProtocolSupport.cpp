#include "tests/mock/ProtocolSupport.h"

#include "config/ApplicationPaths.h"
#include "config/TextCodec.h"

#include "signer/CertificateStore.h"
#include "signer/ProviderLink.h"
#include "signer/SystemRepository.h"

#include <chrono>
#include <filesystem>

namespace orvane::test {

namespace {

SandboxServices* theSandbox = nullptr;

class SandboxEnvironment : public testing::Environment {
public:
    void SetUp() override
    {
        // The agent reads the configuration once per process, so the
        // sandbox must be in place before any case asks for an address.
        services_ = std::make_unique<SandboxServices>(model::configFilePath(), std::vector<std::string>{},
                                                      ORVANE_BINARY_DIR "/tests/protocol/sandbox-pki");
        theSandbox = services_.get();
    }
    void TearDown() override
    {
        theSandbox = nullptr;
        services_.reset();
    }

private:
    std::unique_ptr<SandboxServices> services_;
};

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new SandboxEnvironment);

} // namespace

SandboxServices& sandbox()
{
    if (!theSandbox)
        throw std::runtime_error("the sandbox is not running");
    return *theSandbox;
}

FakeClock::FakeClock()
    : start_(std::chrono::duration_cast<std::chrono::milliseconds>(
                 std::chrono::system_clock::now().time_since_epoch())
                 .count())
    , now_(start_)
{
}

void FakeClock::sleepSeconds(int seconds)
{
    sleeps_.push_back(seconds);
    now_ += static_cast<std::int64_t>(seconds) * 1000;
    if (onSleep)
        onSleep(sleeps_.size());
}

model::DesktopInfo testDesktop(const std::wstring& name)
{
    return {name, L"Debian GNU/Linux 12 (bookworm)", L"tester", L"laboratorio.local"};
}

void ProtocolTest::SetUp()
{
    std::filesystem::remove(model::identityFilePath());
    sandbox().clearFaults();
    sandbox().stopAutoApproval();
}

void ProtocolTest::TearDown()
{
    sandbox().clearFaults();
}

std::unique_ptr<model::Orvane> ProtocolTest::enrol()
{
    model::CreateInstallationResult result = model::Orvane::install(testDesktop());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.message, "");
    if (!result.aggregate)
        throw std::runtime_error("enrolment failed: " + result.message);
    return std::move(result.aggregate);
}

std::vector<Json::Value> ProtocolTest::pending(const std::string& kind, const std::string& deviceCode)
{
    return sandbox().requests("pending", kind, deviceCode);
}

void ProtocolTest::pair(const model::Orvane& identity, const std::string& deviceCode)
{
    Json::Value body(Json::objectValue);
    body["deviceCode"] = deviceCode;
    sandbox().post("/installations/" + model::toUtf8(identity.kestrelInstallations.at(0).installationCode)
                       + "/devices",
                   body);
    if (sandbox().lastStatus() / 100 != 2)
        throw std::runtime_error("sandbox refused to pair " + deviceCode);
}

Json::Value ProtocolTest::addPhone(const std::string& identitySlug, const std::string& name, int keys)
{
    Json::Value body(Json::objectValue);
    body["identity"] = identitySlug;
    body["deviceName"] = name;
    body["keys"] = keys;
    Json::Value phone = sandbox().post("/devices", body);
    if (sandbox().lastStatus() / 100 != 2)
        throw std::runtime_error("sandbox refused the phone " + name);
    return phone;
}

int ProtocolTest::callCount(const std::string& path)
{
    int count = 0;
    const Json::Value log = sandbox().get("/log");
    for (const Json::Value& call : log["calls"])
        if (call["path"].asString().find(path) != std::string::npos)
            ++count;
    return count;
}

std::map<std::string, std::wstring> publishedEntries()
{
    std::map<std::string, std::wstring> entries;
    valmora::signer::SystemRepository::processWide().certificateStore()->forEachEntry(
        "MY", [&](const valmora::signer::StoreEntry& entry) {
            if (entry.provider && entry.provider->providerName == valmora::signer::orvaneProviderName)
                entries[entry.certificate.fingerprint()] = entry.provider->containerName;
            return valmora::signer::Then::Continue;
        });
    return entries;
}

std::string latin1(const std::string& utf8)
{
    return model::narrowBytes(model::fromUtf8(utf8));
}

Json::Value fault(const std::string& path, int status, const Json::Value& body, int count)
{
    Json::Value f(Json::objectValue);
    f["path"] = path;
    f["status"] = status;
    if (!body.isNull())
        f["body"] = body;
    f["count"] = count;
    return f;
}

Json::Value drop(const std::string& path, int count)
{
    Json::Value f(Json::objectValue);
    f["path"] = path;
    f["drop"] = true;
    f["count"] = count;
    return f;
}

bool faultUntouched()
{
    const auto faults = sandbox().faults();
    return faults.size() == 1 && faults[0]["hits"].asInt() == 0;
}

} // namespace orvane::test
