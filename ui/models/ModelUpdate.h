#pragma once

#include <QObject>

#include <functional>

// How a worker on a pool thread changes what a screen observes without a
// data race: the field write and the signal that announces it travel
// together, as one call queued to the thread that owns the model. Calls
// posted to one model run in the order they were posted, so the screens see
// each new value in place when its signal arrives, and signals in the order
// the worker emitted them.
//
// Called on the model's own thread, `post` still queues: a worker's report
// never runs ahead of what the caller is doing with the model.
class ModelUpdate {
public:
    static void post(QObject* model, std::function<void()> update);

    // Runs `read` on the model's thread and returns its value; for the few
    // places where a worker needs a field that the screens write (a
    // typed-in name, a chosen row). Blocks the worker, never the model's
    // thread: called on that thread it runs `read` at once.
    template <typename T>
    static T read(QObject* model, const std::function<T()>& read);

private:
    static void runBlocking(QObject* model, const std::function<void()>& call);
};

template <typename T>
T ModelUpdate::read(QObject* model, const std::function<T()>& read)
{
    T value{};
    runBlocking(model, [&] { value = read(); });
    return value;
}
