#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <string>

// How a worker hands its outcome back to its model, always in the same
// order: the offline signal, then the error text with its signal, then the
// finished signal. A finished signal does not mean success.
//
// The callbacks run on the worker's thread; they set the model's fields and
// emit its signals, which Qt delivers to the GUI thread in emission order.
class WorkerReport {
public:
    WorkerReport(std::function<void(bool offline)> offline,
                 std::function<void(const QString& text)> error,
                 std::function<void()> finished);

    // Right after a service call returns: any status but 0 raises the
    // offline flag, a 0 clears it, so the last call decides the banner.
    void serviceCalled(std::int32_t status) const;
    // A failure to show; `message` is UTF-8 as the identity model gives it.
    // An empty message reports nothing.
    void failed(const std::string& message) const;
    void finished() const;

    // The usual worker body: one call that returns a message and a status,
    // reported in the fixed order.
    void report(std::int32_t status, const std::string& message) const;

    // Runs `work`; a standard exception that escapes it becomes its text
    // (read as UTF-8, behind `prefix`) through failed(). Returns whether
    // `work` ended normally. Anything that is no standard exception passes.
    bool runCatching(const std::function<void()>& work, const std::string& prefix = {}) const;

private:
    std::function<void(bool)> offline_;
    std::function<void(const QString&)> error_;
    std::function<void()> finished_;
};
