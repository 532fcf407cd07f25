#include "ui/models/ModelUpdate.h"

#include <QMetaObject>
#include <QThread>

#include <utility>

void ModelUpdate::post(QObject* model, std::function<void()> update)
{
    QMetaObject::invokeMethod(model, std::move(update), Qt::QueuedConnection);
}

void ModelUpdate::runBlocking(QObject* model, const std::function<void()>& call)
{
    if (QThread::currentThread() == model->thread())
        call();
    else
        QMetaObject::invokeMethod(model, call, Qt::BlockingQueuedConnection);
}
