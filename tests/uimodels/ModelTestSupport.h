#pragma once

// What the model suites share: a Qt application for queued deliveries, the
// end of a worker with all it posted delivered, and one ordered signal log.

#include <QObject>
#include <QString>

#include <string>
#include <vector>

namespace orvane::test {

// Delivers what the running background task posts until it has ended, and
// the rest after.
void settle();

class SignalLog {
public:
    // Records "name", or "name(argument)" for a signal with one argument (a
    // flag, a number or a pointer, told as set or null).
    template <typename Sender, typename... Args>
    void watch(Sender* sender, void (Sender::*signal)(Args...), const std::string& name)
    {
        QObject::connect(sender, signal, &context_, [this, name](Args... args) {
            entries.push_back(name + describe(args...));
        });
    }
    // Records "name" followed by what `value` gives at the time of arrival.
    template <typename Sender, typename Value>
    void watchWith(Sender* sender, void (Sender::*signal)(), const std::string& name, Value value)
    {
        QObject::connect(sender, signal, &context_, [this, name, value] {
            entries.push_back(name + "=" + value().toStdString());
        });
    }

    std::vector<std::string> entries;

private:
    static std::string describe() { return {}; }
    static std::string describe(bool value) { return value ? "(true)" : "(false)"; }
    static std::string describe(int value) { return "(" + std::to_string(value) + ")"; }
    template <typename T>
    static std::string describe(T* pointer) { return pointer ? "(set)" : "(null)"; }

    QObject context_;
};

} // namespace orvane::test
