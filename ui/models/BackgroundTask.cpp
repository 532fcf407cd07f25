#include "ui/models/BackgroundTask.h"

#include <chrono>
#include <future>
#include <utility>

namespace {

// The slot. A future from std::async releases its task only when the task
// has ended, which is what makes a replacement (and the end of the process)
// wait.
std::future<void>& slot()
{
    static std::future<void> backgroundTask;
    return backgroundTask;
}

} // namespace

void BackgroundTask::start(std::function<void()> work)
{
    std::future<void> next = std::async(std::launch::async, std::move(work));
    // Move-assigning drops the previous task's future, blocking until it has
    // ended; its stored exception, if any, goes with it.
    slot() = std::move(next);
}

void BackgroundTask::waitForLast()
{
    if (slot().valid())
        slot().wait();
}

bool BackgroundTask::lastEnded()
{
    return !slot().valid() || slot().wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}
