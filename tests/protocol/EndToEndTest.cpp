// A computer's whole way, as a user's data would flow: enrolment, the
// phones of an identity, their approval (one phone approves, one never
// answers), the refresh that publishes the phones' certificates, then the
// installer's switches as real processes: "/i" after a change at the service,
// "/u" at removal.

#include "tests/mock/ProtocolSupport.h"

#include "model/kestrel/KestrelAuthorization.h"
#include "config/ApplicationPaths.h"
#include "config/TextCodec.h"
#include "tests/mock/ChildProcess.h"

using namespace orvane::model;
using namespace orvane::test;

namespace {

// The agent as the installer runs it; it inherits this test's folders.
orvane::test::ProcessResult runAgentSwitch(const std::string& argument)
{
    return orvane::test::runProcess({ORVANE_BINARY_DIR "/app/orvane", argument}, {}, {}, 120);
}

std::map<std::string, std::wstring> linksOf(Orvane& identity)
{
    std::map<std::string, std::wstring> links;
    for (KeyReference* reference : identity.certificates())
        links[reference->certificate->fingerprint()] = reference->keyName;
    return links;
}

class EndToEnd : public ProtocolTest {};

} // namespace

TEST_F(EndToEnd, EnrolAuthorizeRefreshThenInstallerSwitches)
{
    ASSERT_FALSE(Orvane::hasInstallation());
    std::unique_ptr<Orvane> identity = enrol();
    // The person's phones, found by his CPF: two new phones of his own, so
    // that what they hold is known exactly.
    const Json::Value work = addPhone("joao", "Celular do escritório", 2);
    const Json::Value home = addPhone("joao", "Celular de casa", 1);
    const IdentityKey joao{L"21593846746", L"CPF"};
    const DeviceSearchResult found = searchDevices(identity->kestrelInstallation(), joao);
    std::vector<DeviceEntry> chosen;
    for (const DeviceEntry& device : found.devices)
        if (toUtf8(device.deviceCode) == work["deviceCode"].asString()
            || toUtf8(device.deviceCode) == home["deviceCode"].asString())
            chosen.push_back(device);
    ASSERT_EQ(chosen.size(), 2u);
    ASSERT_EQ(toUtf8(chosen[0].deviceCode), work["deviceCode"].asString());

    // The office phone approves at the fourth look; the home phone never
    // answers, so the wait runs to its deadline.
    FakeClock clock;
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 4)
            sandbox().answerPending("A", work["deviceCode"].asString());
    };
    std::vector<std::wstring> answers;
    const DeviceAuthorizationsResult authorized = authorizeDevices(
        identity->kestrelInstallation(), joao, chosen, "A", [] { return false; },
        [&](const std::wstring& name) { answers.push_back(name); }, clock);
    EXPECT_EQ(authorized.status, 0);
    EXPECT_EQ(answers, std::vector<std::wstring>{L"Celular do escritório"});

    // The refresh brings the approved phone's two certificates into "MY",
    // linked to the provider under their key names.
    ASSERT_TRUE(identity->refreshCertificates().succeeded());
    std::map<std::string, std::wstring> expected;
    for (const Json::Value& key : work["keys"])
        expected[valmora::signer::Certificate::fromText(key["certificatePem"].asString()).fingerprint()] =
            fromUtf8(key["keyName"].asString());
    EXPECT_EQ(linksOf(*identity), expected);
    EXPECT_EQ(publishedEntries(), expected);

    // The home phone approves later, and the office phone gets a new key:
    // "/i" as the installer runs it brings the store in line.
    sandbox().answerPending("A", home["deviceCode"].asString());
    Json::Value newKey(Json::objectValue);
    newKey["deviceCode"] = work["deviceCode"];
    const Json::Value added = sandbox().post("/certificates", newKey);
    ASSERT_EQ(sandbox().lastStatus(), 201);

    const orvane::test::ProcessResult refresh = runAgentSwitch("/i");
    ASSERT_EQ(refresh.exitCode, 0) << refresh.err;
    expected = linksOf(*Orvane::load());
    EXPECT_EQ(expected.size(), 4u);
    const auto addedCertificate = valmora::signer::Certificate::fromText(added["certificatePem"].asString());
    EXPECT_EQ(expected.at(addedCertificate.fingerprint()), fromUtf8(added["keyName"].asString()));
    EXPECT_EQ(publishedEntries(), expected);

    // Removal: "/u" takes every certificate of the identity out of the store.
    const orvane::test::ProcessResult unpublish = runAgentSwitch("/u");
    ASSERT_EQ(unpublish.exitCode, 0) << unpublish.err;
    EXPECT_TRUE(publishedEntries().empty());
}
