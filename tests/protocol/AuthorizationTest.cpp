// Finding an identity's phones, having them approve this computer, removing
// phones, against the sandbox; every wait on the fake clock.

#include "tests/mock/ProtocolSupport.h"

#include "model/keys/Device.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "config/TextCodec.h"

using namespace orvane::model;
using orvane::test::drop;
using orvane::test::FakeClock;
using orvane::test::fault;
using orvane::test::latin1;
using orvane::test::ProtocolTest;
using orvane::test::sandbox;

namespace {

const IdentityKey kAna{L"39053344705", L"CPF"};
const IdentityKey kNobody{L"11144477735", L"CPF"};

class Authorization : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        found = searchDevices(installation(), kAna);
        ASSERT_EQ(found.status, 0);
        ASSERT_EQ(found.devices.size(), 2u);
    }
    KestrelInstallation& installation() { return identity->kestrelInstallations[0]; }
    std::string codeOf(std::size_t i) const { return toUtf8(found.devices.at(i).deviceCode); }

    std::unique_ptr<Orvane> identity;
    DeviceSearchResult found;
};

std::function<bool()> never()
{
    return [] { return false; };
}

} // namespace

TEST_F(Authorization, SearchGivesPhonesInServiceOrderOrRefusalOrFailure)
{
    EXPECT_EQ(found.devices[0].deviceName, L"Galaxy S23 de Ana");
    EXPECT_EQ(found.devices[1].deviceName, L"iPhone 13 de Ana");
    EXPECT_EQ(found.devices[0].deviceCode.size(), 40u);
    EXPECT_FALSE(found.devices[0].alreadyExist);
    EXPECT_EQ(found.message, "");

    pair(*identity, codeOf(1));
    const DeviceSearchResult again = searchDevices(installation(), kAna);
    ASSERT_EQ(again.devices.size(), 2u);
    EXPECT_FALSE(again.devices[0].alreadyExist);
    EXPECT_TRUE(again.devices[1].alreadyExist);

    const DeviceSearchResult refused = searchDevices(installation(), kNobody);
    EXPECT_TRUE(refused.devices.empty());
    EXPECT_FALSE(refused.message.empty());
    EXPECT_EQ(refused.status, 0);

    sandbox().addFault(fault("/requestAuthorization/", 500));
    const DeviceSearchResult failed = searchDevices(installation(), kAna);
    EXPECT_TRUE(failed.devices.empty());
    EXPECT_EQ(failed.message, "Autentica\xE7\xE3o n\xE3o realizada. Erro HTTP 500");
    EXPECT_EQ(failed.message, latin1("Autenticação não realizada. Erro HTTP 500"));
    EXPECT_EQ(failed.status, 1);

    sandbox().addFault(drop("/requestAuthorization/"));
    const DeviceSearchResult offline = searchDevices(installation(), kAna);
    EXPECT_TRUE(offline.devices.empty());
    EXPECT_EQ(offline.message, "");
    EXPECT_EQ(offline.status, 1);
}

TEST_F(Authorization, OnePhoneApprovesOtherIgnoresUntilTwoMinuteDeadline)
{
    FakeClock clock;
    // The first phone approves during the third wait; the second never
    // answers.
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 3)
            for (const Json::Value& request : pending("A", codeOf(0)))
                sandbox().approve(request["id"].asString());
    };
    std::vector<std::wstring> answers;
    const DeviceAuthorizationsResult result = authorizeDevices(
        installation(), kAna, found.devices, "A", never(),
        [&](const std::wstring& name) { answers.push_back(name); }, clock);

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.message, "");
    ASSERT_EQ(result.authorizations.size(), 2u);
    EXPECT_TRUE(result.authorizations[0].answered);
    EXPECT_FALSE(result.authorizations[1].answered);
    EXPECT_EQ(result.authorizations[0].deviceName, L"Galaxy S23 de Ana");
    EXPECT_TRUE(result.authorizations[0].spare.empty());
    EXPECT_EQ(answers, std::vector<std::wstring>{L"Galaxy S23 de Ana"});

    // 6+5+4+3+2 = 20 seconds, then a second at a time until the clock is
    // past start + 120.
    std::vector<int> expected{6, 5, 4, 3, 2};
    while (expected.size() < 5 + 101)
        expected.push_back(1);
    EXPECT_EQ(clock.sleeps(), expected);
    EXPECT_EQ(clock.nowSeconds(), clock.start() / 1000 + 121);

    // The approved phone is paired with this computer now; the other one's
    // request still waits for an answer.
    const DeviceSearchResult after = searchDevices(installation(), kAna);
    EXPECT_TRUE(after.devices[0].alreadyExist);
    EXPECT_FALSE(after.devices[1].alreadyExist);
    EXPECT_EQ(pending("A", codeOf(1)).size(), 1u);
}

TEST_F(Authorization, AllAnsweredAtFirstPassEndsAfterSixSeconds)
{
    FakeClock clock;
    clock.onSleep = [&](std::size_t) {
        for (const std::string& code : {codeOf(0), codeOf(1)})
            for (const Json::Value& request : pending("A", code))
                sandbox().approve(request["id"].asString());
    };
    std::vector<std::wstring> answers;
    const DeviceAuthorizationsResult result = authorizeDevices(
        installation(), kAna, found.devices, "A", never(),
        [&](const std::wstring& name) { answers.push_back(name); }, clock);
    EXPECT_EQ(clock.sleeps(), std::vector<int>{6});
    EXPECT_EQ(answers, (std::vector<std::wstring>{L"Galaxy S23 de Ana", L"iPhone 13 de Ana"}));
    EXPECT_TRUE(result.authorizations[0].answered && result.authorizations[1].answered);
}

TEST_F(Authorization, CancellingStopsAfterTheCurrentSleepAndOnePass)
{
    FakeClock clock;
    bool cancel = false;
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 2)
            cancel = true;
    };
    const DeviceAuthorizationsResult result = authorizeDevices(
        installation(), kAna, found.devices, "A", [&] { return cancel; }, [](const std::wstring&) {}, clock);
    EXPECT_EQ(clock.sleeps(), (std::vector<int>{6, 5}));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.authorizations.size(), 2u);
    // Two polling passes reached the service for each phone.
    for (const DeviceAuthorization& authorization : result.authorizations) {
        const Json::Value request = sandbox().get("/requests/" + authorization.desktopRequestCode);
        EXPECT_EQ(request["polls"].asInt(), 2);
        EXPECT_EQ(request["state"].asString(), "pending");
    }
}

TEST_F(Authorization, EmptyListSleepsOnceAndLostConnectionKeepsAnswersSoFar)
{
    FakeClock idle;
    const DeviceAuthorizationsResult nothing =
        authorizeDevices(installation(), kAna, {}, "A", never(), [](const std::wstring&) {}, idle);
    EXPECT_EQ(idle.sleeps(), std::vector<int>{6});
    EXPECT_TRUE(nothing.authorizations.empty());
    EXPECT_EQ(nothing.status, 0);

    FakeClock clock;
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 1)
            for (const Json::Value& request : pending("A", codeOf(0)))
                sandbox().approve(request["id"].asString());
        if (sleeps == 2)
            sandbox().addFault(drop("/isAuthorized/"));
    };
    std::vector<std::wstring> answers;
    const DeviceAuthorizationsResult lost = authorizeDevices(
        installation(), kAna, found.devices, "A", never(),
        [&](const std::wstring& name) { answers.push_back(name); }, clock);
    EXPECT_EQ(lost.status, 1);
    EXPECT_EQ(clock.sleeps(), (std::vector<int>{6, 5}));
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

    // The second request fails after the first was made: nothing is kept.
    Json::Value second = drop("/requestAuthorization/");
    sandbox().post("/faults", [] {
        Json::Value delay(Json::objectValue);
        delay["path"] = "/requestAuthorization/";
        delay["delay_ms"] = 1;
        return delay;
    }());
    sandbox().addFault(second);
    const auto mine = [&](const std::string& deviceCode) {
        int count = 0;
        for (const Json::Value& request : sandbox().requests({}, "A", deviceCode))
            count += request["installation"].asString() == toUtf8(installation().installationCode);
        return count;
    };
    const DeviceAuthorizationsResult offline = requestAuthorizations(installation(), kAna, found.devices, "A");
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
    const DeviceAuthorizationsResult one =
        authorizeDevices(installation(), kAna, mixed, "A", never(), [](const std::wstring&) {}, clock);
    ASSERT_EQ(one.authorizations.size(), 1u);
    EXPECT_EQ(one.authorizations[0].deviceName, L"Galaxy S23 de Ana");
    EXPECT_EQ(clock.nowSeconds(), clock.start() / 1000 + 61);
}

TEST_F(Authorization, IsAuthorizedReadsTheAnswerAndReportsFailures)
{
    DeviceAuthorizationsResult asked = requestAuthorizations(installation(), kAna, {found.devices[0]}, "A");
    ASSERT_EQ(asked.authorizations.size(), 1u);
    DeviceAuthorization& request = asked.authorizations[0];
    EXPECT_EQ(request.desktopRequestCode.empty(), false);

    testing::internal::CaptureStdout();
    const AuthorizationPoll waiting = isAuthorized(installation(), request);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "null\n");
    EXPECT_FALSE(waiting.authorized);
    EXPECT_EQ(waiting.status, 0);

    sandbox().deny(request.desktopRequestCode);
    const AuthorizationPoll denied = isAuthorized(installation(), request);
    EXPECT_FALSE(denied.authorized);
    EXPECT_FALSE(request.answered);
    EXPECT_EQ(denied.status, 0);

    sandbox().addFault(fault("/isAuthorized/", 500));
    EXPECT_EQ(isAuthorized(installation(), request).status, 1);
    sandbox().addFault(drop("/isAuthorized/"));
    EXPECT_EQ(isAuthorized(installation(), request).status, 1);
}

TEST_F(Authorization, MaintenanceRemovesPhonesUnderAnApprovedRequest)
{
    const Json::Value spare = addPhone("ana", "Celular antigo de Ana");
    const DeviceSearchResult withSpare = searchDevices(installation(), kAna);
    ASSERT_EQ(withSpare.devices.size(), 3u);
    const DeviceEntry& old = withSpare.devices[2];
    ASSERT_EQ(toUtf8(old.deviceCode), spare["deviceCode"].asString());

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

    sandbox().addFault(fault("/maintenanceDevices/", 500));
    const MaintenanceResult failed = maintainDevices(installation(), kAna, code, {old});
    EXPECT_EQ(failed.message, "Erro no retorno da autentica\xE7\xE3o. Erro HTTP 500");
    EXPECT_EQ(failed.status, 0);
    sandbox().addFault(drop("/maintenanceDevices/"));
    const MaintenanceResult offline = maintainDevices(installation(), kAna, code, {old});
    EXPECT_EQ(offline.message, "");
    EXPECT_EQ(offline.status, 1);
}

TEST_F(Authorization, CancelTakesThePhoneOffTheListAndClearsTheMark)
{
    pair(*identity, codeOf(0));
    pair(*identity, codeOf(1));
    KestrelInstallation& kestrel = installation();
    for (std::size_t i = 0; i < 2; ++i) {
        auto device = std::make_shared<Device>();
        device->hash = found.devices[i].deviceCode;
        device->applyDefaultNames();
        kestrel.devices.devices.push_back(device);
    }
    kestrel.devices.lastModified = L"Mon, 01 Jan 2024 00:00:00 GMT";

    sandbox().addFault(fault("/cancelAuthorization/", 500));
    EXPECT_EQ(cancelAuthorization(kestrel, *kestrel.devices.devices[0]), 1);
    sandbox().addFault(drop("/cancelAuthorization/"));
    EXPECT_EQ(cancelAuthorization(kestrel, *kestrel.devices.devices[0]), 1);
    EXPECT_EQ(kestrel.devices.devices.size(), 2u);
    EXPECT_FALSE(kestrel.devices.lastModified.empty());

    EXPECT_EQ(cancelAuthorization(kestrel, *kestrel.devices.devices[0]), 0);
    ASSERT_EQ(kestrel.devices.devices.size(), 1u);
    EXPECT_EQ(kestrel.devices.devices[0]->hash, found.devices[1].deviceCode);
    EXPECT_TRUE(kestrel.devices.lastModified.empty());

    // Not paired any more: the service says no, nothing changes.
    auto gone = std::make_shared<Device>();
    gone->hash = found.devices[0].deviceCode;
    kestrel.devices.lastModified = L"x";
    EXPECT_EQ(cancelAuthorization(kestrel, *gone), 0);
    EXPECT_EQ(kestrel.devices.devices.size(), 1u);
    EXPECT_EQ(kestrel.devices.lastModified, L"x");
}
