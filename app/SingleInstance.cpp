#include "app/SingleInstance.h"

#include <cstring>

SingleInstance::SingleInstance(const QString& key)
    : memory_(key)
{
}

bool SingleInstance::acquire()
{
    if (memory_.create(sizeof(std::uint64_t), QSharedMemory::ReadWrite))
        return true;
    // The block may be an orphan of a killed first instance: System V shared
    // memory outlives its creator. Attaching and detaching removes a block
    // that nobody else is attached to, after which it can be created afresh;
    // a block in use by a live instance stays.
    if (memory_.attach(QSharedMemory::ReadWrite))
        memory_.detach();
    return memory_.create(sizeof(std::uint64_t), QSharedMemory::ReadWrite);
}

std::uint64_t SingleInstance::publishedWindow()
{
    std::uint64_t windowId = 0;
    if (!memory_.isAttached() && !memory_.attach(QSharedMemory::ReadWrite))
        return 0;
    memory_.lock();
    std::memcpy(&windowId, memory_.constData(), sizeof windowId);
    memory_.unlock();
    return windowId;
}

void SingleInstance::publishWindow(std::uint64_t windowId)
{
    memory_.lock();
    std::memcpy(memory_.data(), &windowId, sizeof windowId);
    memory_.unlock();
}
