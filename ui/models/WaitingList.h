#pragma once

#include <QString>

#include <functional>

class QObject;

// The running list of devices that have answered while a worker waits for
// them. Starting the wait makes the list one line end long (not empty), so
// the screens can tell from its length that the wait has begun; each answer
// adds the device's name and a line end. Every change is announced through
// `changed`, which the model wires to its notify signal.
//
// Workers add to it from their pool thread: each change travels, with its
// announcement, to the owning model's thread (ModelUpdate), so the text is
// only ever read and written there.
class WaitingList {
public:
    // `initial` is the text before the first wait.
    explicit WaitingList(QObject* owner, std::function<void()> changed = {}, QString initial = {});

    // Empty text: restart the list as "\n". Otherwise append text and "\n".
    // From any thread; takes effect on the owner's thread.
    void addWaiting(const QString& text);
    // On the owner's thread.
    const QString& text() const { return text_; }

private:
    void apply(const QString& text);

    QObject* owner_;
    QString text_;
    std::function<void()> changed_;
};
