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

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new SandboxEnvironment(ORVANE_BINARY_DIR "/tests/protocol/sandbox-pki"));

} // namespace

SandboxServices& sandbox()
{
    return SandboxEnvironment::sandbox();
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
    return enrolComputer();
}

void ProtocolTest::pair(const model::Orvane& identity, const std::string& deviceCode)
{
    pairPhone(identity, deviceCode);
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

bool faultUntouched()
{
    const auto faults = sandbox().faults();
    return faults.size() == 1 && faults[0]["hits"].asInt() == 0;
}

} // namespace orvane::test
