#include "ui/models/WorkerShutdown.h"

#include "ui/models/BackgroundTask.h"

#include <QCoreApplication>

WorkerShutdown::WorkerShutdown(QObject* model)
{
    if (QCoreApplication* application = QCoreApplication::instance())
        quitting_ = QObject::connect(application, &QCoreApplication::aboutToQuit, model,
                                     [this] { requested_ = true; });
}

WorkerShutdown::~WorkerShutdown()
{
    QObject::disconnect(quitting_);
}

void WorkerShutdown::stopAndWait()
{
    requested_ = true;
    BackgroundTask::waitForLast();
}
