#pragma once

// Drives the program's window the way a person does, through the names the
// screens give their controls: finds what shows, waits for it to come to
// rest, clicks, types, hovers, and takes pictures. The window's end-to-end
// test and the screenshot tour share it.

#include <QList>
#include <QPointF>
#include <QString>
#include <Qt>

#include <functional>

class QQuickItem;
class QQuickWindow;

class WindowDriver {
public:
    // `timeoutMs` bounds every wait of this driver.
    explicit WindowDriver(QQuickWindow* window, int timeoutMs = 60000);

    QQuickWindow* window() const { return window_; }

    // Items of that name that show, in the order of the visual tree under
    // `within` (the whole window by default).
    QList<QQuickItem*> findAll(const QString& name, QQuickItem* within = nullptr) const;
    QQuickItem* find(const QString& name, QQuickItem* within = nullptr) const;
    // The first item of that name that shows and whose text holds `fragment`.
    QQuickItem* findWithText(const QString& name, const QString& fragment) const;
    // Whether any text that shows holds `fragment`.
    bool showsText(const QString& fragment) const;
    // The "text" of the first item of that name that shows; empty when none.
    QString text(const QString& name, QQuickItem* within = nullptr) const;

    // Processes events until the condition holds; false on time-out.
    bool waitFor(const std::function<bool()>& condition) const;
    // Waits until an item of that name shows, is enabled and has stopped
    // moving (the frames slide in); null on time-out.
    QQuickItem* waitReady(const QString& name, QQuickItem* within = nullptr) const;
    bool waitGone(const QString& name) const;

    // A left click in the middle of the item, once it is ready. False when
    // it never became ready.
    bool click(const QString& name, QQuickItem* within = nullptr) const;
    bool click(QQuickItem* item) const;
    // Clicks into the field, selects what it holds and types over it.
    bool type(const QString& name, const QString& text, QQuickItem* within = nullptr) const;
    void pressKey(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    // Moves the pointer onto the middle of the item.
    void hover(QQuickItem* item) const;

    // Lets running transitions end for `settleMs`, then writes the
    // window's picture to `path`.
    bool grab(const QString& path, int settleMs = 800) const;

private:
    bool atRest(QQuickItem* item) const;
    QPoint middleOf(QQuickItem* item) const;

    QQuickWindow* window_;
    int timeoutMs_;
};
