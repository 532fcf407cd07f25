#pragma once

#include <functional>

// The one slot, shared by every presentation model, that holds the most
// recently started background task.
//
// Starting a task puts it on a pool thread at once and then replaces the
// task in the slot; replacing waits, on the calling (GUI) thread, until the
// earlier task has ended. So at most two tasks are ever in flight, and a
// request made while a long task runs stalls the caller until it ends: that
// stall is accepted, it is what keeps two workers from touching the identity
// at the same time. Nobody reads a task's result or its exception: an
// exception that escapes a task is dropped together with it.
class BackgroundTask {
public:
    static void start(std::function<void()> work);

    // Waits for the task in the slot, if there is one. The slot itself also
    // waits when it is destroyed at the end of the process.
    static void waitForLast();
    // Whether the task in the slot, if any, has ended; never waits.
    static bool lastEnded();
};
