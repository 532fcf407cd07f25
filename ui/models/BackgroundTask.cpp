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
    // The earlier task ends before the next one starts: both would work on
    // the one identity aggregate, which has no lock. The caller's stall is
    // the same either way (replacing the slot has to wait for the earlier
    // task anyway); only the overlap, a data race, is gone. Dropping the
    // earlier future also drops its stored exception, if any.
    waitForLast();
    slot() = std::async(std::launch::async, std::move(work));
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
