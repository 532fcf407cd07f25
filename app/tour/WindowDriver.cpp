#include "app/tour/WindowDriver.h"

#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

namespace {

// Every item under `root` in the order of the visual tree, hidden ones left
// out with all they hold.
void collectShown(QQuickItem* root, const std::function<void(QQuickItem*)>& visit)
{
    if (!root || !root->isVisible())
        return;
    visit(root);
    for (QQuickItem* child : root->childItems())
        collectShown(child, visit);
}

} // namespace

WindowDriver::WindowDriver(QQuickWindow* window, int timeoutMs) : window_(window), timeoutMs_(timeoutMs) {}

QList<QQuickItem*> WindowDriver::findAll(const QString& name, QQuickItem* within) const
{
    QList<QQuickItem*> found;
    collectShown(within ? within : window_->contentItem(), [&](QQuickItem* item) {
        if (item->objectName() == name)
            found.append(item);
    });
    return found;
}

QQuickItem* WindowDriver::find(const QString& name, QQuickItem* within) const
{
    const QList<QQuickItem*> found = findAll(name, within);
    return found.isEmpty() ? nullptr : found.first();
}

QQuickItem* WindowDriver::findWithText(const QString& name, const QString& fragment) const
{
    for (QQuickItem* item : findAll(name))
        if (item->property("text").toString().contains(fragment))
            return item;
    return nullptr;
}

bool WindowDriver::showsText(const QString& fragment) const
{
    bool shown = false;
    collectShown(window_->contentItem(), [&](QQuickItem* item) {
        if (!shown && item->inherits("QQuickText") && item->property("text").toString().contains(fragment))
            shown = true;
    });
    return shown;
}

QString WindowDriver::text(const QString& name, QQuickItem* within) const
{
    QQuickItem* item = find(name, within);
    return item ? item->property("text").toString() : QString();
}

bool WindowDriver::waitFor(const std::function<bool()>& condition) const
{
    return QTest::qWaitFor(condition, timeoutMs_);
}

bool WindowDriver::atRest(QQuickItem* item) const
{
    QPointF last = item->mapToScene(QPointF(0, 0));
    int still = 0;
    return waitFor([&] {
        const QPointF now = item->mapToScene(QPointF(0, 0));
        still = now == last ? still + 1 : 0;
        last = now;
        if (still >= 3)
            return true;
        QTest::qWait(40);
        return false;
    });
}

QQuickItem* WindowDriver::waitReady(const QString& name, QQuickItem* within) const
{
    QQuickItem* found = nullptr;
    const bool ready = waitFor([&] {
        found = find(name, within);
        return found && found->isEnabled();
    });
    return ready && atRest(found) ? found : nullptr;
}

bool WindowDriver::waitGone(const QString& name) const
{
    return waitFor([&] { return find(name) == nullptr; });
}

QPoint WindowDriver::middleOf(QQuickItem* item) const
{
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

bool WindowDriver::click(const QString& name, QQuickItem* within) const
{
    return click(waitReady(name, within));
}

bool WindowDriver::click(QQuickItem* item) const
{
    if (!item)
        return false;
    QTest::mouseClick(window_, Qt::LeftButton, Qt::NoModifier, middleOf(item));
    return true;
}

bool WindowDriver::type(const QString& name, const QString& text, QQuickItem* within) const
{
    if (!click(name, within))
        return false;
    pressKey(Qt::Key_A, Qt::ControlModifier);
    // QTest types strings into widgets only: one key at a time here (the
    // texts of the forms are ASCII).
    for (const QChar character : text)
        QTest::keyClick(window_, character.toLatin1());
    return true;
}

void WindowDriver::pressKey(Qt::Key key, Qt::KeyboardModifiers modifiers) const
{
    QTest::keyClick(window_, key, modifiers);
}

void WindowDriver::hover(QQuickItem* item) const
{
    QTest::mouseMove(window_, middleOf(item));
}

bool WindowDriver::grab(const QString& path, int settleMs) const
{
    QTest::qWait(settleMs);
    return window_->grabWindow().save(path);
}
