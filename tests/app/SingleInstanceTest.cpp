#include "tests/app/AgentProcess.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <QSharedMemory>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

using namespace orvane::test;
using namespace std::chrono_literals;

namespace {

// The window identifier the running instance has published, read the way a
// later start reads it; zero until the window exists.
// Qt keeps the block's key file in the temporary folder, so reading the
// agent's block means looking in the agent's temporary folder for a moment.
class TemporaryFolderOf {
public:
    explicit TemporaryFolderOf(const TempEnvironment& env)
    {
        if (const char* old = std::getenv("TMPDIR"))
            saved_ = old;
        setenv("TMPDIR", env.root().c_str(), 1);
    }
    ~TemporaryFolderOf()
    {
        if (saved_.empty())
            unsetenv("TMPDIR");
        else
            setenv("TMPDIR", saved_.c_str(), 1);
    }

private:
    std::string saved_;
};

std::uint64_t publishedWindow(const TempEnvironment& env)
{
    TemporaryFolderOf agentTemporaryFolder(env);
    QSharedMemory block(QStringLiteral("Kestrel"));
    if (!block.attach(QSharedMemory::ReadOnly))
        return 0;
    std::uint64_t id = 0;
    block.lock();
    std::memcpy(&id, block.constData(), sizeof id);
    block.unlock();
    block.detach();
    return id;
}

bool waitForWindow(const TempEnvironment& env, BackgroundProcess& agent)
{
    for (auto deadline = std::chrono::steady_clock::now() + 30s; std::chrono::steady_clock::now() < deadline;) {
        if (!agent.running())
            return false;
        if (publishedWindow(env) != 0)
            return true;
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

class SingleInstance : public testing::Test {
protected:
    TempEnvironment env;
    std::map<std::string, std::string> environment = agentEnvironment(env);

    ProcessResult start(const char* argument = nullptr)
    {
        std::vector<std::string> argv = {ORVANE_EXECUTABLE};
        if (argument)
            argv.push_back(argument);
        return runProcess(argv, {}, environment, 30);
    }
};

} // namespace

TEST_F(SingleInstance, ALaterStartLeavesWithOneWhileTheFirstRuns)
{
    BackgroundProcess first({ORVANE_EXECUTABLE}, environment);
    ASSERT_TRUE(waitForWindow(env, first));

    EXPECT_EQ(start().exitCode, 1);
    // Unknown and upper-case switches are no switches: they take the windowed
    // start and therefore meet the running instance.
    EXPECT_EQ(start("/x").exitCode, 1);
    EXPECT_EQ(start("/U").exitCode, 1);
    // A real switch runs beside the window.
    EXPECT_EQ(start("/r").exitCode, 0);

    EXPECT_TRUE(first.running());
    first.kill(SIGTERM);
    first.wait();
}

TEST_F(SingleInstance, AStartAfterTheFirstWasKilledOpensNormally)
{
    {
        BackgroundProcess crashed({ORVANE_EXECUTABLE}, environment);
        ASSERT_TRUE(waitForWindow(env, crashed));
        crashed.kill(SIGKILL);
        crashed.wait();
    }
    // The block outlives the killed process...
    ASSERT_NE(publishedWindow(env), 0u);

    // ...but does not lock out the next start, which becomes the first instance.
    BackgroundProcess next({ORVANE_EXECUTABLE}, environment);
    std::this_thread::sleep_for(300ms);
    ASSERT_TRUE(next.running());
    ASSERT_TRUE(waitForWindow(env, next));
    EXPECT_EQ(start().exitCode, 1);
    EXPECT_TRUE(next.running());
    next.kill(SIGTERM);
    next.wait();
}
