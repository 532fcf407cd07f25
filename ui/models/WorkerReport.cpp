#include "ui/models/WorkerReport.h"

#include <exception>
#include <utility>

WorkerReport::WorkerReport(std::function<void(bool)> offline,
                           std::function<void(const QString&)> error,
                           std::function<void()> finished)
    : offline_(std::move(offline))
    , error_(std::move(error))
    , finished_(std::move(finished))
{
}

void WorkerReport::serviceCalled(std::int32_t status) const
{
    if (offline_)
        offline_(status != 0);
}

void WorkerReport::failed(const std::string& message) const
{
    if (!message.empty() && error_)
        error_(QString::fromStdString(message));
}

void WorkerReport::finished() const
{
    if (finished_)
        finished_();
}

void WorkerReport::report(std::int32_t status, const std::string& message) const
{
    serviceCalled(status);
    failed(message);
    finished();
}

bool WorkerReport::runCatching(const std::function<void()>& work, const std::string& prefix) const
{
    try {
        work();
        return true;
    } catch (const std::exception& e) {
        failed(prefix + e.what());
        return false;
    }
}
