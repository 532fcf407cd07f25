// A computer's whole way, as a user's data would flow: enrolment, the
// phones of an identity, their approval (one phone approves, one never
// answers), the refresh that publishes the phones' certificates, then the
// installer's switches as real processes: "/i" after a change at the service,
// "/u" at removal.

#include "tests/mock/ProtocolSupport.h"

#include "model/kestrel/KestrelAuthorization.h"
#include "config/ApplicationPaths.h"
#include "config/TextCodec.h"
#include "signer/SystemRepository.h"
#include "tests/mock/ChildProcess.h"

#include <cstdlib>

using namespace orvane::model;
using orvane::test::FakeClock;
using orvane::test::ProtocolTest;
using orvane::test::publishedEntries;
using orvane::test::sandbox;

namespace {

// The agent as the installer runs it, in this test's folders.
orvane::test::ProcessResult runAgentSwitch(const std::string& argument)
{
    std::map<std::string, std::string> environment;
    for (const char* name : {"HOME", "XDG_CONFIG_DIRS", "XDG_CONFIG_HOME", "XDG_DATA_HOME"})
        if (const char* value = std::getenv(name))
            environment[name] = value;
    return orvane::test::runProcess({ORVANE_BINARY_DIR "/app/orvane", argument}, {}, environment, 120);
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
    // A fresh computer: no identity, then a key pair in the token and an
    // installation at the service.
    ASSERT_FALSE(Orvane::hasInstallation());
    std::unique_ptr<Orvane> identity = enrol();
    ASSERT_TRUE(valmora::signer::SystemRepository::processWide().hasNamedKey(identity->privateKeyReference));

    // The person's phones, found by her CPF: two new phones of her own, so
    // that what they hold is known exactly.
    const Json::Value work = addPhone("joao", "Celular do escritório", 2);
    const Json::Value home = addPhone("joao", "Celular de casa", 1);
    const IdentityKey joao{L"21593846746", L"CPF"};
    const DeviceSearchResult found = searchDevices(identity->kestrelInstallation(), joao);
    ASSERT_EQ(found.status, 0) << found.message;
    std::vector<DeviceEntry> chosen;
    for (const DeviceEntry& device : found.devices)
        if (toUtf8(device.deviceCode) == work["deviceCode"].asString()
            || toUtf8(device.deviceCode) == home["deviceCode"].asString())
            chosen.push_back(device);
    ASSERT_EQ(chosen.size(), 2u);
    ASSERT_EQ(toUtf8(chosen[0].deviceCode), work["deviceCode"].asString());

    // The office phone approves at the fourth look; the home phone never
    // answers, so the wait runs to its two-minute deadline.
    FakeClock clock;
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 4)
            for (const Json::Value& request : pending("A", work["deviceCode"].asString()))
                sandbox().approve(request["id"].asString());
    };
    std::vector<std::wstring> answers;
    const DeviceAuthorizationsResult authorized = authorizeDevices(
        identity->kestrelInstallation(), joao, chosen, "A", [] { return false; },
        [&](const std::wstring& name) { answers.push_back(name); }, clock);
    EXPECT_EQ(authorized.status, 0);
    EXPECT_EQ(answers, std::vector<std::wstring>{L"Celular do escritório"});
    ASSERT_EQ(authorized.authorizations.size(), 2u);
    EXPECT_TRUE(authorized.authorizations[0].answered);
    EXPECT_FALSE(authorized.authorizations[1].answered);
    EXPECT_GT(clock.nowSeconds(), clock.start() / 1000 + 120);
    EXPECT_LE(clock.nowSeconds(), clock.start() / 1000 + 121);

    // The refresh brings the approved phone's two certificates into "MY",
    // linked to the provider under their key names.
    const OperationResult refreshed = identity->refreshCertificates();
    ASSERT_TRUE(refreshed.succeeded()) << refreshed.message;
    ASSERT_EQ(identity->kestrelInstallation().devices.devices.size(), 1u);
    EXPECT_EQ(identity->kestrelInstallation().devices.devices[0]->localName, L"kestrel no Celular do escritório");
    auto expected = linksOf(*identity);
    ASSERT_EQ(expected.size(), 2u);
    std::map<std::string, std::wstring> fromService;
    for (const Json::Value& key : work["keys"]) {
        const auto certificate = valmora::signer::Certificate::fromText(key["certificatePem"].asString());
        fromService[certificate.fingerprint()] = fromUtf8(key["keyName"].asString());
    }
    EXPECT_EQ(expected, fromService);
    EXPECT_EQ(publishedEntries(), expected);

    // The home phone approves later, and the office phone gets a new key:
    // "/i" as the installer runs it brings the store in line.
    for (const Json::Value& request : pending("A", home["deviceCode"].asString()))
        sandbox().approve(request["id"].asString());
    Json::Value newKey(Json::objectValue);
    newKey["deviceCode"] = work["deviceCode"];
    const Json::Value added = sandbox().post("/certificates", newKey);
    ASSERT_EQ(sandbox().lastStatus(), 201);

    const orvane::test::ProcessResult refresh = runAgentSwitch("/i");
    ASSERT_EQ(refresh.exitCode, 0) << refresh.err;
    const std::unique_ptr<Orvane> after = Orvane::load();
    ASSERT_EQ(after->kestrelInstallation().devices.devices.size(), 2u);
    expected = linksOf(*after);
    EXPECT_EQ(expected.size(), 4u);
    const auto addedCertificate = valmora::signer::Certificate::fromText(added["certificatePem"].asString());
    EXPECT_EQ(expected.at(addedCertificate.fingerprint()), fromUtf8(added["keyName"].asString()));
    EXPECT_EQ(publishedEntries(), expected);

    // Removal: "/u" takes every certificate of the identity out of the store.
    const orvane::test::ProcessResult unpublish = runAgentSwitch("/u");
    ASSERT_EQ(unpublish.exitCode, 0) << unpublish.err;
    EXPECT_TRUE(publishedEntries().empty());
}
