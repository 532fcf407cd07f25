#include "ui/models/ModelUpdate.h"

#include <QMetaObject>
#include <QThread>

#include <mutex>
#include <utility>

namespace {

// Qt queues a call under locks of its own, which the C++ memory model (and
// ThreadSanitizer) cannot see. Posting under this lock, and taking it once
// more before the call reads anything it carries, makes everything the
// worker wrote before posting visible to the model's thread in plain C++
// terms. The lock is held only around the queueing, never while an update
// runs, so posting from an update cannot deadlock.
std::mutex& handOver()
{
    static std::mutex lock;
    return lock;
}

} // namespace

void ModelUpdate::post(QObject* model, std::function<void()> update)
{
    std::lock_guard<std::mutex> posting(handOver());
    QMetaObject::invokeMethod(
        model,
        [update = std::move(update)] {
            { std::lock_guard<std::mutex> received(handOver()); }
            update();
        },
        Qt::QueuedConnection);
}

void ModelUpdate::runBlocking(QObject* model, const std::function<void()>& call)
{
    if (QThread::currentThread() == model->thread())
        call();
    else
        QMetaObject::invokeMethod(model, call, Qt::BlockingQueuedConnection);
}
