#include "app/MaintenanceSwitches.h"

#include "tests/app/AgentProcess.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using orvane::test::agentEnvironment;
using orvane::test::runProcess;
using orvane::test::TempEnvironment;

TEST(MaintenanceSwitches, OnlyTheExactLowerCaseSwitchesAreRecognised)
{
    using S = MaintenanceSwitches::Switch;
    EXPECT_EQ(MaintenanceSwitches::recognise("/u"), S::Unpublish);
    EXPECT_EQ(MaintenanceSwitches::recognise("/i"), S::Refresh);
    EXPECT_EQ(MaintenanceSwitches::recognise("/r"), S::ClearCacheMarks);
    EXPECT_EQ(MaintenanceSwitches::recognise("/m"), S::Migrate);
    for (const char* other : {"/U", "/I", "/R", "/M", "/x", "", "u", "-u", "/u ", " /u", "/uu", "/"})
        EXPECT_FALSE(MaintenanceSwitches::recognise(other).has_value()) << other;

    char program[] = "orvane";
    char unknown[] = "/x";
    char* noArguments[] = {program, nullptr};
    char* unknownSwitch[] = {program, unknown, nullptr};
    EXPECT_FALSE(MaintenanceSwitches::run(1, noArguments).has_value());
    EXPECT_FALSE(MaintenanceSwitches::run(2, unknownSwitch).has_value());
}

TEST(MaintenanceSwitches, SwitchesRunWithoutAWindowAndExitZero)
{
    TempEnvironment env;
    auto environment = agentEnvironment(env);
    // No display and no platform plug-in: a switch that tried to open a
    // window would fail here.
    environment["QT_QPA_PLATFORM"] = "no-such-platform";
    for (const char* job : {"/u", "/i", "/r", "/m"}) {
        auto result = runProcess({ORVANE_EXECUTABLE, job, "ignored"}, {}, environment, 30);
        EXPECT_EQ(result.exitCode, 0) << job << ": " << result.err;
        EXPECT_EQ(result.signal, 0) << job;
    }
    // Without an identity nothing is written, not even the identity file.
    EXPECT_FALSE(std::filesystem::exists(env.userDataFolder() + "/Orvane/identity.xml"));
}
