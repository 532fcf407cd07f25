#include "tests/provider/ProviderFixture.h"

#include "config/TextCodec.h"
#include "model/harrier/UserCredentials.h"
#include "model/keys/KeyGroup.h"
#include "model/service/ServiceExchange.h"

#include <chrono>
#include <filesystem>
#include <thread>

namespace orvane::test {

namespace {

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new SandboxEnvironment(ORVANE_BINARY_DIR "/tests/provider/sandbox-pki"));

std::unique_ptr<model::Orvane> theIdentity;
ModuleKey thePhoneKey;
ModuleKey theCloudKey;
std::unique_ptr<TempDir> folder;

} // namespace

void ProviderTest::SetUpTestSuite()
{
    if (theIdentity)
        return;
    folder = std::make_unique<TempDir>();
    model::setAnswerPrinting(false);
    theIdentity = enrolComputer();
    pairPhone(*theIdentity, SandboxEnvironment::sandbox().deviceCodesOf("ana").at(0));
    ASSERT_TRUE(theIdentity
                    ->addHarrierAccount({L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"})
                    .succeeded());
    ASSERT_TRUE(theIdentity->refreshCertificates().succeeded());
    for (model::KeyReference* key : theIdentity->certificates()) {
        const bool phone = key->group->type() == model::KeyGroup::Smartphone;
        ModuleKey& slot = phone ? thePhoneKey : theCloudKey;
        slot = {phone ? "0" : "1", model::KeyReference::keyIdText(key->keyId), phone ? "" : "1234:246810"};
    }
    ASSERT_FALSE(thePhoneKey.id.empty());
    ASSERT_FALSE(theCloudKey.id.empty());
}

void ProviderTest::SetUp()
{
    SandboxEnvironment::sandbox().clearFaults();
    SandboxEnvironment::sandbox().stopAutoApproval();
}

void ProviderTest::TearDown()
{
    refusing_ = false;
    if (refuser_.joinable())
        refuser_.join();
}

const ModuleKey& ProviderTest::phoneKey() { return thePhoneKey; }
const ModuleKey& ProviderTest::cloudKey() { return theCloudKey; }
model::Orvane& ProviderTest::identity() { return *theIdentity; }

void ProviderTest::approvePhones()
{
    Json::Value rule(Json::objectValue);
    rule["afterPolls"] = 1;
    SandboxEnvironment::sandbox().post("/auto-approve", rule);
}

void ProviderTest::refusePhones()
{
    if (refuser_.joinable())
        return;
    refusing_ = true;
    refuser_ = std::thread([this] {
        while (refusing_) {
            for (const Json::Value& request : SandboxEnvironment::sandbox().requests("pending", "S"))
                SandboxEnvironment::sandbox().deny(request["id"].asString());
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
}

ProcessResult ProviderTest::run(std::vector<std::string> argv, const std::map<std::string, std::string>& environment)
{
    // Programs are named as a user types them, found on PATH.
    if (argv[0].find('/') == std::string::npos)
        for (const char* folder : {"/usr/bin/", "/usr/local/bin/", "/bin/"})
            if (std::filesystem::exists(folder + argv[0])) {
                argv[0] = folder + argv[0];
                break;
            }
#ifdef ORVANE_SANITIZER_PRELOAD
    std::map<std::string, std::string> withRuntimes = environment;
    withRuntimes.emplace("LD_PRELOAD", ORVANE_SANITIZER_PRELOAD);
    ProcessResult result = runProcess(argv, {}, withRuntimes, 120);
#else
    ProcessResult result = runProcess(argv, {}, environment, 120);
#endif
    EXPECT_NE(result.exitCode, 127) << argv[0] << " is not installed (scripts/install-deps)";
    return result;
}

std::string ProviderTest::file(const std::string& name)
{
    return folder->file(name);
}

} // namespace orvane::test
