#pragma once

#include <QMetaObject>

#include <atomic>

class QObject;

// Lets a model's workers end when the program closes. The flag is raised
// when the application is about to quit or when the model goes; a device
// wait asks it after each pass, so it ends within one pass. The model's
// destructor then waits for the background task, so no worker outlives the
// model it reports to.
class WorkerShutdown {
public:
    explicit WorkerShutdown(QObject* model);
    ~WorkerShutdown();
    WorkerShutdown(const WorkerShutdown&) = delete;
    WorkerShutdown& operator=(const WorkerShutdown&) = delete;

    // From any thread.
    bool requested() const { return requested_.load(); }

    // Raises the flag and waits for the running background task. The first
    // thing a model's destructor does.
    void stopAndWait();

private:
    std::atomic<bool> requested_{false};
    QMetaObject::Connection quitting_;
};
