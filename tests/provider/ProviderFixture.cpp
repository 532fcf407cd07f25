#include "tests/provider/ProviderFixture.h"

#include "model/keys/KeyGroup.h"
#include "model/service/ServiceExchange.h"

namespace orvane::test {

namespace {

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new SandboxEnvironment(ORVANE_BINARY_DIR "/tests/provider/sandbox-pki"));

std::unique_ptr<TempDir> folder;

} // namespace

void ProviderTest::SetUpTestSuite()
{
    if (identity)
        return;
    folder = std::make_unique<TempDir>();
    model::setAnswerPrinting(false);
    identity = enrolComputer();
    pairPhone(*identity, sandbox().deviceCodesOf("ana").at(0));
    ASSERT_TRUE(
        identity->addHarrierAccount({L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"}).succeeded());
    ASSERT_TRUE(identity->refreshCertificates().succeeded());
    for (model::KeyReference* key : identity->certificates()) {
        const bool phone = key->group->type() == model::KeyGroup::Smartphone;
        ModuleKey& slot = phone ? phoneKey : cloudKey;
        slot = {phone ? "0" : "1", model::KeyReference::keyIdText(key->keyId), phone ? "" : "1234:246810"};
    }
    ASSERT_FALSE(phoneKey.id.empty());
    ASSERT_FALSE(cloudKey.id.empty());
}

void ProviderTest::SetUp()
{
    sandbox().clearFaults();
    sandbox().stopAutoApproval();
}

void ProviderTest::approvePhones()
{
    Json::Value rule(Json::objectValue);
    rule["afterPolls"] = 1;
    sandbox().post("/auto-approve", rule);
}

ProcessResult ProviderTest::run(const std::vector<std::string>& argv,
                                const std::map<std::string, std::string>& environment)
{
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
