// The start of the built program: the maintenance switches and the single
// instance of the windowed start.
#include "app/MaintenanceSwitches.h"

#include "tests/mock/ChildProcess.h"
#include "tests/mock/EnvironmentScope.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <QSharedMemory>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

using namespace orvane::test;
using namespace std::chrono_literals;

namespace {

// Beside the folders of the TempEnvironment it inherits, the agent gets a
// temporary folder of its own (which keeps its single-instance block apart).
std::map<std::string, std::string> agentEnvironment(const TempEnvironment& env)
{
    return {{"XDG_RUNTIME_DIR", env.root()}, {"TMPDIR", env.root()}, {"QT_QPA_PLATFORM", "offscreen"},
            {"QT_QUICK_BACKEND", "software"}};
}

// Until the agent has published its window, read as a later start reads it
// (Qt keeps the block's key in the temporary folder). Reading detaches, which
// removes a block nobody else holds: never wait while only a killed one does.
bool waitForWindow(const TempEnvironment& env, BackgroundProcess& agent)
{
    EnvironmentScope agentTemporaryFolder("TMPDIR", env.root().c_str());
    for (auto deadline = std::chrono::steady_clock::now() + 30s; std::chrono::steady_clock::now() < deadline;) {
        if (!agent.running())
            return false;
        QSharedMemory block(QStringLiteral("Kestrel"));
        std::uint64_t id = 0;
        if (block.attach(QSharedMemory::ReadOnly)) {
            block.lock();
            std::memcpy(&id, block.constData(), sizeof id);
            block.unlock();
        }
        if (id != 0)
            return true;
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

} // namespace

TEST(MaintenanceSwitches, OnlyTheExactLowerCaseSwitchesAreRecognised)
{
    using S = MaintenanceSwitches::Switch;
    EXPECT_EQ(MaintenanceSwitches::recognise("/u"), S::Unpublish);
    EXPECT_EQ(MaintenanceSwitches::recognise("/i"), S::Refresh);
    EXPECT_EQ(MaintenanceSwitches::recognise("/r"), S::ClearCacheMarks);
    EXPECT_EQ(MaintenanceSwitches::recognise("/m"), S::Migrate);
    for (const char* other : {"/U", "/I", "/R", "/M", "/x", "", "u", "-u", "/u ", " /u", "/uu", "/"})
        EXPECT_FALSE(MaintenanceSwitches::recognise(other).has_value()) << other;
}

TEST(MaintenanceSwitches, SwitchesRunWithoutAWindowAndExitZero)
{
    TempEnvironment env;
    auto environment = agentEnvironment(env);
    // No display and no platform plug-in: a switch that tried to open a
    // window would fail here.
    environment["QT_QPA_PLATFORM"] = "no-such-platform";
    for (const char* job : {"/u", "/i", "/r", "/m"}) {
        const auto result = runProcess({ORVANE_EXECUTABLE, job, "ignored"}, {}, environment, 30);
        EXPECT_EQ(result.exitCode, 0) << job << ": " << result.err;
    }
}

TEST(SingleInstance, ALaterStartLeavesWithOneWhileTheFirstRunsEvenAfterAKilledFirst)
{
    TempEnvironment env;
    const std::map<std::string, std::string> environment = agentEnvironment(env);
    const auto start = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ORVANE_EXECUTABLE);
        return runProcess(arguments, {}, environment, 30).exitCode;
    };
    {
        BackgroundProcess first({ORVANE_EXECUTABLE}, environment);
        ASSERT_TRUE(waitForWindow(env, first));
        EXPECT_EQ(start({}), 1);
        // Unknown and upper-case switches are no switches: they take the
        // windowed start and therefore meet the running instance.
        EXPECT_EQ(start({"/x"}), 1);
        EXPECT_EQ(start({"/U"}), 1);
        // A real switch runs beside the window.
        EXPECT_EQ(start({"/r"}), 0);
        EXPECT_TRUE(first.running());
        first.kill(SIGKILL);
        first.wait();
    }
    // The killed instance's block outlives it but does not lock out the next
    // start, which becomes the first instance.
    BackgroundProcess next({ORVANE_EXECUTABLE}, environment);
    std::this_thread::sleep_for(300ms);
    ASSERT_TRUE(next.running());
    ASSERT_TRUE(waitForWindow(env, next));
    EXPECT_EQ(start({}), 1);
    EXPECT_TRUE(next.running());
    next.kill(SIGTERM);
    next.wait();
}
