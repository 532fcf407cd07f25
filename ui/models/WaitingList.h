#pragma once

#include <QString>

#include <functional>

// The running list of devices that have answered while a worker waits for
// them. Starting the wait makes the list one line end long (not empty), so
// the screens can tell from its length that the wait has begun; each answer
// adds the device's name and a line end. Every change is announced through
// `changed`, which the model wires to its notify signal.
class WaitingList {
public:
    explicit WaitingList(std::function<void()> changed = {});

    // Empty text: restart the list as "\n". Otherwise append text and "\n".
    void addWaiting(const QString& text);
    const QString& text() const { return text_; }

private:
    QString text_;
    std::function<void()> changed_;
};
