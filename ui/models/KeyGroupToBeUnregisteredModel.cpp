#include "ui/models/KeyGroupToBeUnregisteredModel.h"

#include "ui/models/BackgroundTask.h"
#include "ui/models/CertificateRow.h"
#include "ui/models/ModelUpdate.h"
#include "ui/models/VerificationConnectionServer.h"

#include "model/identity/BaseException.h"
#include "model/identity/Orvane.h"
#include "model/keys/KeyGroup.h"

#include <memory>

KeyGroupToBeUnregisteredModel::KeyGroupToBeUnregisteredModel(VerificationConnectionServer* server, QObject* parent)
    : QObject(parent)
{
    connect(this, &KeyGroupToBeUnregisteredModel::offLineServer, server, &VerificationConnectionServer::setOffLine);
}

void KeyGroupToBeUnregisteredModel::setKeyGroup(orvane::model::KeyGroup* group)
{
    group_ = group;
    keyGroupName_ = group ? QString::fromStdWString(group->name()) : QString();
    keyGroupType_ = group ? CertificateRow::typeName(group->type()) : QString();
    emit keyGroupChanged();
}

void KeyGroupToBeUnregisteredModel::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}

void KeyGroupToBeUnregisteredModel::unregisterKeyGroup()
{
    if (!orvane_)
        return;
    Orvane* orvane = orvane_;
    orvane::model::KeyGroup* group = group_;
    // As for every worker of the identity: the earlier task ends first.
    BackgroundTask::waitForLast();
    BackgroundTask::start([this, orvane, group] {
        std::int32_t status = 1;
        try {
            status = orvane->unregisterKeyGroup(group);
        } catch (orvane::model::BaseException* thrown) {
            // A wallet of no active installation comes as a pointer that the
            // catcher owns; the task ends silently, as for any other failure.
            std::unique_ptr<orvane::model::BaseException> owned(thrown);
            return;
        }
        ModelUpdate::post(this, [this, status] {
            emit offLineServer(status != 0);
            emit keyGroupUnregistered();
        });
    });
}
