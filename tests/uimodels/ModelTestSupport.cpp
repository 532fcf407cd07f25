#include "tests/uimodels/ModelTestSupport.h"

#include "ui/models/BackgroundTask.h"

#include <QCoreApplication>

#include <memory>

namespace orvane::test {

void ensureApplication()
{
    static int argc = 1;
    static char name[] = "uimodels_tests";
    static char* argv[] = {name, nullptr};
    static std::unique_ptr<QCoreApplication> application;
    if (!QCoreApplication::instance())
        application = std::make_unique<QCoreApplication>(argc, argv);
}

void settle()
{
    BackgroundTask::waitForLast();
    QCoreApplication::sendPostedEvents();
}

} // namespace orvane::test
