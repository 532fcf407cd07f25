#include "ui/models/ModelUpdate.h"

#include <QMetaObject>
#include <QThread>

#include <atomic>
#include <memory>
#include <utility>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace {

// Qt's event queue runs a posted call after its posting, and may release the
// call on the posting thread once the model's thread has run it. Both orders
// rest on locks and counts inside Qt, which a race detector built into this
// program does not see; under ThreadSanitizer the two ends state the first
// one themselves, and the flag of Pending states the second in plain C++.
#if defined(__SANITIZE_THREAD__)
const char kQueue = 0;
void handedOver() { __tsan_release(const_cast<char*>(&kQueue)); }
void takenOver() { __tsan_acquire(const_cast<char*>(&kQueue)); }
#else
void handedOver() {}
void takenOver() {}
#endif

struct Pending {
    explicit Pending(std::function<void()> call) : update(std::move(call)) {}
    ~Pending() { ran.load(std::memory_order_acquire); }
    std::function<void()> update;
    std::atomic<bool> ran{false};
};

// The call that Qt queues. The update is moved out and dies on the model's
// thread, whatever thread drops what is left.
class QueuedUpdate {
public:
    explicit QueuedUpdate(std::function<void()> update)
        : pending_(std::make_shared<Pending>(std::move(update)))
    {
    }
    QueuedUpdate(QueuedUpdate&& other) noexcept
        : pending_(std::move(other.pending_))
    {
        handedOver();
    }
    QueuedUpdate(const QueuedUpdate& other)
        : pending_(other.pending_)
    {
        handedOver();
    }
    QueuedUpdate& operator=(const QueuedUpdate&) = delete;

    void operator()() const
    {
        takenOver();
        const std::function<void()> run = std::move(pending_->update);
        pending_->ran.store(true, std::memory_order_release);
        run();
    }

private:
    std::shared_ptr<Pending> pending_;
};

} // namespace

void ModelUpdate::post(QObject* model, std::function<void()> update)
{
    QMetaObject::invokeMethod(model, QueuedUpdate(std::move(update)), Qt::QueuedConnection);
}

void ModelUpdate::runBlocking(QObject* model, const std::function<void()>& call)
{
    if (QThread::currentThread() == model->thread())
        call();
    else
        QMetaObject::invokeMethod(model, call, Qt::BlockingQueuedConnection);
}
