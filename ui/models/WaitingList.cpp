#include "ui/models/WaitingList.h"

#include "ui/models/ModelUpdate.h"

#include <utility>

WaitingList::WaitingList(QObject* owner, std::function<void()> changed, QString initial)
    : owner_(owner)
    , text_(std::move(initial))
    , changed_(std::move(changed))
{
}

void WaitingList::addWaiting(const QString& text)
{
    // The list is a member of its owner, so it lives as long as any call
    // queued to the owner.
    ModelUpdate::post(owner_, [this, text] { apply(text); });
}

void WaitingList::apply(const QString& text)
{
    if (text.isEmpty())
        text_ = QStringLiteral("\n");
    else
        text_ += text + QLatin1Char('\n');
    if (changed_)
        changed_();
}
