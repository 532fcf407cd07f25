#pragma once

#include <cstdint>

namespace orvane::model {

// The time source and sleeper behind every wait and every time stamp of the
// service calls: the authorisation and signature polling, the "momento" of
// the Harrier calls and the "hash" of a certificate listing. The calls take
// it as an argument, so tests can run a whole polling schedule in no time
// while checking each wait and the deadline arithmetic.
class Clock {
public:
    virtual ~Clock() = default;

    // Milliseconds since the epoch.
    virtual std::int64_t nowMilliseconds() = 0;
    // Blocks the calling thread for that many seconds.
    virtual void sleepSeconds(int seconds) = 0;

    // Whole seconds since the epoch.
    std::int64_t nowSeconds() { return nowMilliseconds() / 1000; }

    // The real clock; stateless, shared by all callers.
    static Clock& system();
};

} // namespace orvane::model
