#pragma once

// What the suites that talk to the sandbox share: one sandbox for the whole
// test program (started before the first case, with the agent's
// configuration pointing at it), a clock that runs waits in no time, and an
// enrolled identity to start from.

#include "model/service/Clock.h"
#include "model/identity/Orvane.h"
#include "tests/mock/SandboxEnvironment.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orvane::test {

// The sandbox of this test program.
SandboxServices& sandbox();

// A clock whose sleeps return at once, moving its time on by the seconds
// asked and recording them; `onSleep` runs after each sleep with the number
// of sleeps so far (a phone that answers at a given moment). Its time starts
// at the real time, so marks and stamps look ordinary to the services.
class FakeClock : public model::Clock {
public:
    FakeClock();
    std::int64_t nowMilliseconds() override { return now_; }
    void sleepSeconds(int seconds) override;

    const std::vector<int>& sleeps() const { return sleeps_; }
    std::int64_t start() const { return start_; }

    std::function<void(std::size_t sleepCount)> onSleep;

private:
    std::int64_t start_;
    std::int64_t now_;
    std::vector<int> sleeps_;
};

// Each case starts with no identity file, no planned faults and no
// automatic approvals.
class ProtocolTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Enrols a fresh computer (a new key pair in the token) and returns the
    // saved identity; fails the case when the sandbox refuses.
    std::unique_ptr<model::Orvane> enrol();

    // Pairs the phone with the identity's installation at the sandbox, as
    // an approved authorisation would.
    void pair(const model::Orvane& identity, const std::string& deviceCode);
    // Adds a phone with `keys` keys to an identity of the seed ("ana"...).
    Json::Value addPhone(const std::string& identitySlug, const std::string& name, int keys = 1);
    // How many service calls whose path contains `path` the sandbox has
    // logged.
    int callCount(const std::string& path);
};

// The entries of the user's "MY" store linked to the Orvane provider:
// fingerprint to container name.
std::map<std::string, std::wstring> publishedEntries();

// The ISO-8859-1 bytes of a UTF-8 text (for the messages that go out so).
std::string latin1(const std::string& utf8);

// Whether the one planned fault was never hit, i.e. no call went out.
bool faultUntouched();

} // namespace orvane::test
