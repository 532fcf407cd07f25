#include "app/qt/QtWindowActivator.h"

#include <QWindow>

void QtWindowActivator::activate(std::uint64_t windowId)
{
    if (windowId == 0)
        return;
    if (QWindow* window = QWindow::fromWinId(static_cast<WId>(windowId))) {
        window->requestActivate();
        window->show();
    }
}
