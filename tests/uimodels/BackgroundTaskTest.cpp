#include "ui/models/BackgroundTask.h"
#include "ui/models/WaitingList.h"
#include "ui/models/WorkerReport.h"
#include "tests/uimodels/ModelTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

// Spins until `flag` is set or two seconds have passed.
bool waitFor(const std::atomic<bool>& flag)
{
    const auto deadline = std::chrono::steady_clock::now() + 2s;
    while (!flag.load()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

} // namespace

TEST(BackgroundTaskSlot, ReplacingWaitsForThePreviousTaskWhileTheNewOneRuns)
{
    std::atomic<bool> secondRunning{false};
    std::atomic<bool> firstSawSecond{false};
    std::atomic<bool> firstEnded{false};
    std::atomic<bool> release{false};

    BackgroundTask::start([&] {
        firstSawSecond = waitFor(secondRunning);
        firstEnded = true;
    });
    BackgroundTask::start([&] {
        secondRunning = true;
        waitFor(release);
    });
    // start() returned: the first task must be over, and it ended only after
    // it had seen the second one running, so both were in flight together.
    EXPECT_TRUE(firstEnded.load());
    EXPECT_TRUE(firstSawSecond.load());

    release = true;
    BackgroundTask::waitForLast();
}

TEST(BackgroundTaskSlot, AnEscapedExceptionIsDroppedWithItsTask)
{
    std::atomic<bool> thrown{false};
    BackgroundTask::start([&] {
        thrown = true;
        throw std::runtime_error("lost");
    });
    BackgroundTask::waitForLast();
    ASSERT_TRUE(thrown.load());
    std::atomic<bool> ran{false};
    EXPECT_NO_THROW(BackgroundTask::start([&] { ran = true; }));
    BackgroundTask::waitForLast();
    EXPECT_TRUE(ran.load());
}

TEST(BackgroundTaskSlot, WaitForLastWaitsForTheRunningTask)
{
    std::atomic<bool> done{false};
    BackgroundTask::start([&] {
        std::this_thread::sleep_for(50ms);
        done = true;
    });
    BackgroundTask::waitForLast();
    EXPECT_TRUE(done.load());
}

TEST(WaitingListIdiom, EmptyTextRestartsAsOneLineEndAndNamesAppendOnTheOwnersThread)
{
    QObject owner;
    std::vector<QString> announced;
    WaitingList list(&owner, [&] { announced.push_back(list.text()); });
    // Added from a worker, as the device waits do; nothing changes until the
    // owner's thread takes the calls, in order.
    BackgroundTask::start([&] {
        list.addWaiting(QString());
        list.addWaiting(QStringLiteral("Celular da Ana"));
        list.addWaiting(QStringLiteral("Moto G"));
        list.addWaiting(QString());  // a new wait starts over
    });
    BackgroundTask::waitForLast();
    EXPECT_TRUE(list.text().isEmpty());
    orvane::test::settle();
    EXPECT_EQ(announced, (std::vector<QString>{QStringLiteral("\n"), QStringLiteral("\nCelular da Ana\n"),
                                               QStringLiteral("\nCelular da Ana\nMoto G\n"),
                                               QStringLiteral("\n")}));
}

TEST(WorkerReportOrder, OfflineThenErrorThenFinished)
{
    std::vector<std::string> events;
    WorkerReport report([&](bool offline) { events.push_back(offline ? "offline" : "online"); },
                        [&](const QString& text) { events.push_back("error:" + text.toStdString()); },
                        [&] { events.push_back("finished"); });

    report.report(1, "Servidor indisponível");
    EXPECT_EQ(events, (std::vector<std::string>{"offline", "error:Servidor indisponível", "finished"}));

    events.clear();
    report.report(0, "");
    EXPECT_EQ(events, (std::vector<std::string>{"online", "finished"}));

    events.clear();
    report.report(7, "");  // any status but 0 counts as offline
    EXPECT_EQ(events, (std::vector<std::string>{"offline", "finished"}));
}

TEST(WorkerReportOrder, CatchesStandardExceptionsAsUtf8Text)
{
    std::vector<QString> errors;
    WorkerReport report({}, [&](const QString& text) { errors.push_back(text); }, {});

    EXPECT_FALSE(report.runCatching([] { throw std::runtime_error("Não foi encontrada a instalação para kestrel"); },
                                    "Erro: "));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], QStringLiteral("Erro: Não foi encontrada a instalação para kestrel"));

    EXPECT_TRUE(report.runCatching([] {}));
    EXPECT_EQ(errors.size(), 1u);
    // Only the standard family is caught; anything else passes to the caller.
    EXPECT_THROW(report.runCatching([] { throw 42; }), int);
}
