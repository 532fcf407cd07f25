#include "tests/uimodels/ModelTestSupport.h"

#include "ui/models/BackgroundTask.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

namespace orvane::test {

namespace {

// The application of the whole test program: made before the first case and
// gone after the last, while Qt's own globals still exist.
class ApplicationEnvironment : public testing::Environment {
public:
    void SetUp() override
    {
        if (!QCoreApplication::instance())
            application_ = std::make_unique<QCoreApplication>(argc_, argv_);
    }
    void TearDown() override { application_.reset(); }

private:
    int argc_ = 1;
    char name_[16] = "uimodels_tests";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QCoreApplication> application_;
};

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new ApplicationEnvironment);

} // namespace

void settle()
{
    // The event loop keeps turning while the worker runs, as in the program,
    // so the models' thread touches them while the worker does.
    while (!BackgroundTask::lastEnded()) {
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    QCoreApplication::sendPostedEvents();
}

} // namespace orvane::test
