#include "ui/models/WaitingList.h"

#include <utility>

WaitingList::WaitingList(std::function<void()> changed)
    : changed_(std::move(changed))
{
}

void WaitingList::addWaiting(const QString& text)
{
    if (text.isEmpty())
        text_ = QStringLiteral("\n");
    else
        text_ += text + QLatin1Char('\n');
    if (changed_)
        changed_();
}
