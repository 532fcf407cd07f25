#include "model/service/Clock.h"

#include <chrono>
#include <thread>

namespace orvane::model {

namespace {

class SystemClock : public Clock {
public:
    std::int64_t nowMilliseconds() override
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }

    void sleepSeconds(int seconds) override
    {
        if (seconds > 0)
            std::this_thread::sleep_for(std::chrono::seconds(seconds));
    }
};

} // namespace

Clock& Clock::system()
{
    static SystemClock clock;
    return clock;
}

} // namespace orvane::model
