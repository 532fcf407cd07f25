#include "ui/models/BackgroundTask.h"
#include "ui/models/WorkerReport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

TEST(BackgroundTaskSlot, TasksRunOneAfterAnotherAndAnEscapedExceptionIsDropped)
{
    std::atomic<bool> firstEnded{false};
    std::atomic<bool> secondEnded{false};
    std::atomic<bool> secondSawFirstEnded{false};
    BackgroundTask::start([&] {
        std::this_thread::sleep_for(30ms);
        firstEnded = true;
        throw std::runtime_error("lost");
    });
    BackgroundTask::start([&] {
        secondSawFirstEnded = firstEnded.load();
        std::this_thread::sleep_for(30ms);
        secondEnded = true;
    });
    // start() returned with the first task over, before the second ran.
    EXPECT_TRUE(firstEnded.load());
    BackgroundTask::waitForLast();
    EXPECT_TRUE(secondEnded.load());
    EXPECT_TRUE(secondSawFirstEnded.load());
}

TEST(WorkerReportOrder, OfflineThenErrorThenFinished)
{
    std::vector<std::string> events;
    WorkerReport report([&](bool offline) { events.push_back(offline ? "offline" : "online"); },
                        [&](const QString& text) { events.push_back("error:" + text.toStdString()); },
                        [&] { events.push_back("finished"); });
    report.report(1, "Servidor indisponível");
    report.report(0, "");
    report.report(7, "");  // any status but 0 counts as offline
    EXPECT_EQ(events, (std::vector<std::string>{"offline", "error:Servidor indisponível", "finished", "online",
                                                "finished", "offline", "finished"}));

    // Standard exceptions become error texts, in UTF-8; anything else passes
    // to the caller.
    events.clear();
    EXPECT_FALSE(report.runCatching([] { throw std::runtime_error("Não foi encontrada a instalação"); }, "Erro: "));
    EXPECT_TRUE(report.runCatching([] {}));
    EXPECT_EQ(events, std::vector<std::string>{"error:Erro: Não foi encontrada a instalação"});
    EXPECT_THROW(report.runCatching([] { throw 42; }), int);
}
