// Finding an identity's phones, having them approve this computer, removing
// phones, against the sandbox; every wait on the fake clock.

#include "tests/mock/ProtocolSupport.h"

#include "model/keys/Device.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "model/kestrel/KestrelListing.h"
#include "config/TextCodec.h"

#include <tuple>

using namespace orvane::model;
using namespace orvane::test;

namespace {

const IdentityKey kAna{L"39053344705", L"CPF"};

class Authorization : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        found = searchDevices(installation(), kAna);
        ASSERT_EQ(found.devices.size(), 2u);
    }
    KestrelInstallation& installation() { return identity->kestrelInstallations[0]; }
    std::string codeOf(std::size_t i) const { return toUtf8(found.devices.at(i).deviceCode); }
    void approve(std::size_t phone) { sandbox().answerPending("A", codeOf(phone)); }
    // authorizeDevices on `clock`; `answers` gets the names of the phones
    // that approved.
    DeviceAuthorizationsResult authorize(const std::vector<DeviceEntry>& devices, FakeClock& clock,
                                         std::vector<std::wstring>& answers,
                                         const std::function<bool()>& cancelled = [] { return false; })
    {
        return authorizeDevices(installation(), kAna, devices, "A", cancelled,
                                [&](const std::wstring& name) { answers.push_back(name); }, clock);
    }

    std::unique_ptr<Orvane> identity;
    DeviceSearchResult found;
};

} // namespace

TEST_F(Authorization, SearchGivesPhonesInServiceOrderOrRefusalOrFailure)
{
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.devices[0].deviceName, L"Galaxy S23 de Ana");
    EXPECT_EQ(found.devices[1].deviceName, L"iPhone 13 de Ana");
    EXPECT_FALSE(found.devices[0].alreadyExist);

    pair(*identity, codeOf(1));
    const DeviceSearchResult again = searchDevices(installation(), kAna);
    EXPECT_FALSE(again.devices.at(0).alreadyExist);
    EXPECT_TRUE(again.devices.at(1).alreadyExist);

    const DeviceSearchResult refused = searchDevices(installation(), {L"11144477735", L"CPF"});
    EXPECT_TRUE(refused.devices.empty());
    EXPECT_FALSE(refused.message.empty());
    EXPECT_EQ(refused.status, 0);

    // The failure's text goes out in ISO-8859-1 bytes; a lost connection has none.
    for (const auto& [planned, message] : std::vector<std::pair<Json::Value, std::string>>{
             {fault("/requestAuthorization/", 500), "Autentica\xE7\xE3o n\xE3o realizada. Erro HTTP 500"},
             {drop("/requestAuthorization/"), ""}}) {
        sandbox().addFault(planned);
        const DeviceSearchResult failed = searchDevices(installation(), kAna);
        EXPECT_TRUE(failed.devices.empty());
        EXPECT_EQ(failed.message, message);
        EXPECT_EQ(failed.status, 1);
    }
}

TEST_F(Authorization, OnePhoneApprovesOtherIgnoresUntilTwoMinuteDeadline)
{
    FakeClock clock;
    // The first phone approves during the third wait; the second never
    // answers.
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 3)
            approve(0);
    };
    std::vector<std::wstring> answers;
    const DeviceAuthorizationsResult result = authorize(found.devices, clock, answers);
    EXPECT_EQ(result.status, 0);
    ASSERT_EQ(result.authorizations.size(), 2u);
    EXPECT_TRUE(result.authorizations[0].answered);
    EXPECT_FALSE(result.authorizations[1].answered);
    EXPECT_EQ(answers, std::vector<std::wstring>{L"Galaxy S23 de Ana"});

    // 6+5+4+3+2 = 20 seconds, then a second at a time until the clock is
    // past start + 120.
    std::vector<int> expected{6, 5, 4, 3, 2};
    expected.resize(5 + 101, 1);
    EXPECT_EQ(clock.sleeps(), expected);
}

// The wait ends after the pass in which the last phone answered, the person
// cancelled or the connection was lost (keeping the answers so far); with no
// phone to ask it still sleeps once.
TEST_F(Authorization, PollingEndsWhenAllAnsweredCancelledOrConnectionLost)
{
    std::vector<std::wstring> answers;
    FakeClock idle;
    const DeviceAuthorizationsResult nothing = authorize({}, idle, answers);
    EXPECT_EQ(idle.sleeps(), std::vector<int>{6});
    EXPECT_TRUE(nothing.authorizations.empty());
    EXPECT_EQ(nothing.status, 0);

    FakeClock quick;
    quick.onSleep = [&](std::size_t) {
        approve(0);
        approve(1);
    };
    authorize(found.devices, quick, answers);
    EXPECT_EQ(quick.sleeps(), std::vector<int>{6});
    EXPECT_EQ(answers, (std::vector<std::wstring>{L"Galaxy S23 de Ana", L"iPhone 13 de Ana"}));

    FakeClock cancelling;
    const DeviceAuthorizationsResult cancelled =
        authorize(found.devices, cancelling, answers, [&] { return cancelling.sleeps().size() >= 2; });
    EXPECT_EQ(cancelling.sleeps(), (std::vector<int>{6, 5}));
    EXPECT_EQ(cancelled.status, 0);
    ASSERT_EQ(cancelled.authorizations.size(), 2u);
    // Both passes reached the service for each phone.
    for (const DeviceAuthorization& authorization : cancelled.authorizations)
        EXPECT_EQ(sandbox().get("/requests/" + authorization.desktopRequestCode)["polls"].asInt(), 2);

    FakeClock losing;
    losing.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 1)
            approve(0);
        if (sleeps == 2)
            sandbox().addFault(drop("/isAuthorized/"));
    };
    answers.clear();
    const DeviceAuthorizationsResult lost = authorize(found.devices, losing, answers);
    EXPECT_EQ(lost.status, 1);
    EXPECT_EQ(losing.sleeps(), (std::vector<int>{6, 5}));
    ASSERT_EQ(lost.authorizations.size(), 2u);
    EXPECT_TRUE(lost.authorizations[0].answered);
    EXPECT_FALSE(lost.authorizations[1].answered);
    EXPECT_EQ(answers.size(), 1u);
}

TEST_F(Authorization, RequestFailuresDropEverythingAndRefusedPhoneIsNotPolled)
{
    sandbox().addFault(fault("/requestAuthorization/", 503));
    const DeviceAuthorizationsResult failed = requestAuthorizations(installation(), kAna, found.devices, "A");
    EXPECT_TRUE(failed.authorizations.empty());
    EXPECT_EQ(failed.message, "Autenticação não realizada. Erro HTTP 503");
    EXPECT_EQ(failed.status, 1);

    // The first request goes through (a little late), the second is lost:
    // nothing is kept.
    Json::Value late(Json::objectValue);
    late["path"] = "/requestAuthorization/";
    late["delay_ms"] = 1;
    sandbox().addFault(late);
    sandbox().addFault(drop("/requestAuthorization/"));
    const DeviceAuthorizationsResult offline = requestAuthorizations(installation(), kAna, found.devices, "A");
    const auto mine = [&](const std::string& deviceCode) {
        int count = 0;
        for (const Json::Value& request : sandbox().requests({}, "A", deviceCode))
            count += request["installation"].asString() == toUtf8(installation().installationCode);
        return count;
    };
    EXPECT_EQ(mine(codeOf(0)), 1);
    EXPECT_EQ(mine(codeOf(1)), 0);
    EXPECT_TRUE(offline.authorizations.empty());
    EXPECT_EQ(offline.message, "");
    EXPECT_EQ(offline.status, 1);

    // A phone of another identity is not asked: it is skipped silently and
    // gives the deadline no minute.
    std::vector<DeviceEntry> mixed = found.devices;
    mixed[1].deviceCode = L"0000000000000000000000000000000000000000";
    FakeClock clock;
    std::vector<std::wstring> answers;
    const DeviceAuthorizationsResult one = authorize(mixed, clock, answers);
    ASSERT_EQ(one.authorizations.size(), 1u);
    EXPECT_EQ(one.authorizations[0].deviceName, L"Galaxy S23 de Ana");
    EXPECT_EQ(clock.nowSeconds(), clock.start() / 1000 + 61);
}

TEST_F(Authorization, IsAuthorizedReadsTheAnswerAndReportsFailures)
{
    DeviceAuthorizationsResult asked = requestAuthorizations(installation(), kAna, {found.devices[0]}, "A");
    ASSERT_EQ(asked.authorizations.size(), 1u);
    DeviceAuthorization& request = asked.authorizations[0];

    testing::internal::CaptureStdout();
    const AuthorizationPoll waiting = isAuthorized(installation(), request);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "null\n");
    EXPECT_FALSE(waiting.authorized);
    EXPECT_EQ(waiting.status, 0);

    sandbox().deny(request.desktopRequestCode);
    const AuthorizationPoll denied = isAuthorized(installation(), request);
    EXPECT_FALSE(denied.authorized || request.answered);
    EXPECT_EQ(denied.status, 0);

    sandbox().addFault(fault("/isAuthorized/", 500));
    EXPECT_EQ(isAuthorized(installation(), request).status, 1);
}

TEST_F(Authorization, MaintenanceRemovesPhonesUnderAnApprovedRequest)
{
    addPhone("ana", "Celular antigo de Ana");
    const DeviceSearchResult withSpare = searchDevices(installation(), kAna);
    ASSERT_EQ(withSpare.devices.size(), 3u);
    const DeviceEntry& old = withSpare.devices[2];

    // Not yet approved: the service refuses with a message.
    DeviceAuthorizationsResult asked = requestAuthorizations(installation(), kAna, {withSpare.devices[0]}, "M");
    ASSERT_EQ(asked.authorizations.size(), 1u);
    const std::string code = asked.authorizations[0].desktopRequestCode;
    const MaintenanceResult early = maintainDevices(installation(), kAna, code, {old});
    EXPECT_FALSE(early.done);
    EXPECT_FALSE(early.message.empty());
    EXPECT_EQ(early.status, 0);

    sandbox().approve(code);
    const MaintenanceResult done = maintainDevices(installation(), kAna, code, {old});
    EXPECT_TRUE(done.done);
    EXPECT_EQ(done.message, "");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(searchDevices(installation(), kAna).devices.size(), 2u);

    for (const auto& [planned, message, status] : std::vector<std::tuple<Json::Value, std::string, int>>{
             {fault("/maintenanceDevices/", 500), "Erro no retorno da autentica\xE7\xE3o. Erro HTTP 500", 0},
             {drop("/maintenanceDevices/"), "", 1}}) {
        sandbox().addFault(planned);
        const MaintenanceResult failed = maintainDevices(installation(), kAna, code, {old});
        EXPECT_EQ(failed.message, message);
        EXPECT_EQ(failed.status, status);
    }
}

TEST_F(Authorization, CancelTakesThePhoneOffTheListAndClearsTheMark)
{
    pair(*identity, codeOf(0));
    pair(*identity, codeOf(1));
    KestrelInstallation& kestrel = installation();
    ASSERT_EQ(listCertificates(kestrel).changed, CertificateListResult::NewList);
    const std::shared_ptr<Device> first = kestrel.devices.devices.at(0);

    for (const Json::Value& planned : {fault("/cancelAuthorization/", 500), drop("/cancelAuthorization/")}) {
        sandbox().addFault(planned);
        EXPECT_EQ(cancelAuthorization(kestrel, *first), 1);
    }
    EXPECT_EQ(kestrel.devices.devices.size(), 2u);
    EXPECT_FALSE(kestrel.devices.lastModified.empty());

    EXPECT_EQ(cancelAuthorization(kestrel, *first), 0);
    ASSERT_EQ(kestrel.devices.devices.size(), 1u);
    EXPECT_EQ(kestrel.devices.devices[0]->hash, found.devices[1].deviceCode);
    EXPECT_TRUE(kestrel.devices.lastModified.empty());

    // Not paired any more: the service says no, nothing changes.
    kestrel.devices.lastModified = L"x";
    EXPECT_EQ(cancelAuthorization(kestrel, *first), 0);
    EXPECT_EQ(kestrel.devices.devices.size(), 1u);
    EXPECT_EQ(kestrel.devices.lastModified, L"x");
}

// A 200 whose content is plain text reads as a JSON string: every call that
// reads members of it fails with the library's error instead of taking the
// text for "no devices", "not approved" or "not done".
TEST_F(Authorization, TextReplyFailsEveryMemberAccess)
{
    DeviceAuthorizationsResult asked = requestAuthorizations(installation(), kAna, {found.devices[0]}, "M");
    ASSERT_EQ(asked.authorizations.size(), 1u);
    Json::Value text(Json::objectValue);
    text["contentData"] = "servico em manutencao";
    for (const auto& [path, call] : std::vector<std::pair<const char*, std::function<void()>>>{
             {"/requestAuthorization/", [&] { searchDevices(installation(), kAna); }},
             {"/requestAuthorization/", [&] { requestAuthorizations(installation(), kAna, found.devices, "A"); }},
             {"/isAuthorized/", [&] { isAuthorized(installation(), asked.authorizations[0]); }},
             {"/maintenanceDevices/", [&] { maintainDevices(installation(), kAna, "c", {found.devices[1]}); }}}) {
        sandbox().addFault(fault(path, 200, text));
        EXPECT_THROW(call(), Json::LogicError) << path;
        sandbox().clearFaults();
    }
}
