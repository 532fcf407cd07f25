#include "ui/models/RegistrationModel.h"

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/identity/Orvane.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "ui/models/BackgroundTask.h"
#include "ui/models/FoundDevicesModel.h"
#include "ui/models/HierarchyItemModel.h"
#include "ui/models/HierarchyListModel.h"
#include "ui/models/MaintenanceDevicesModel.h"
#include "ui/models/ModelUpdate.h"
#include "ui/models/VerificationConnectionServer.h"

#include <exception>

using namespace orvane::model;

RegistrationModel::RegistrationModel(FoundDevicesModel* foundDevices, MaintenanceDevicesModel* maintenance,
                                     VerificationConnectionServer* server, HierarchyListModel* hierarchyList,
                                     QObject* parent)
    : QObject(parent)
    , foundDevices_(foundDevices)
    , maintenance_(maintenance)
    , hierarchyList_(hierarchyList)
    , shutdown_(this)
{
    connect(foundDevices_, &FoundDevicesModel::devicesRegistered, this, &RegistrationModel::afterDevicesRegistration);
    connect(this, &RegistrationModel::devicesRegistered, this, &RegistrationModel::resetThisModel);
    connect(this, &RegistrationModel::hierarchyItemModelChanged, this, &RegistrationModel::notifyNewItemModel);
    if (server)
        connect(this, &RegistrationModel::offLineServer, server, &VerificationConnectionServer::setOffLine);
}

RegistrationModel::~RegistrationModel()
{
    shutdown_.stopAndWait();
}

void RegistrationModel::setErrorMessage(const QString& value)
{
    if (errorMessage_ == value)
        return;
    errorMessage_ = value;
    emit errorChanged();
}

void RegistrationModel::setHierarchyItemModel(HierarchyItemModel* value)
{
    if (hierarchyItemModel_ == value)
        return;
    hierarchyItemModel_ = value;
    emit hierarchyItemModelChanged();
}

void RegistrationModel::requestRegistration()
{
    search(Flow::Registration);
}

void RegistrationModel::requestMaintenanceDevices()
{
    search(Flow::Maintenance);
}

void RegistrationModel::search(Flow flow)
{
    const IdentityKey identity = hierarchyItemModel_ ? hierarchyItemModel_->identity() : IdentityKey{};
    Orvane* orvane = orvane_;
    FoundDevicesModel* found = foundDevices_;
    MaintenanceDevicesModel* maintenance = maintenance_;

    BackgroundTask::start([this, flow, identity, orvane, found, maintenance] {
        const auto report = [this](const QString& text) {
            ModelUpdate::post(this, [this, text] {
                errorMessage_ = text;
                emit errorChanged();
            });
        };
        // A failed search leaves no list behind, in either flow.
        const auto clearFound = [found] { ModelUpdate::post(found, [found] { found->clearDevices(); }); };
        const auto finished = [this, flow] {
            ModelUpdate::post(this, [this, flow] {
                if (flow == Flow::Registration)
                    emit requestRegistrationFinished();
                else
                    emit requestMaintenanceFinished();
            });
        };
        try {
            if (flow == Flow::Maintenance)
                ModelUpdate::post(maintenance, [maintenance] { maintenance->clearDevices(); });
            report(QString());
            if (!orvane)
                throw ActiveInstallationNotFound("kestrel");
            const DeviceSearchResult result = searchDevices(orvane->kestrelInstallation(), identity);
            const bool offline = result.status != 0;
            ModelUpdate::post(this, [this, offline] { emit offLineServer(offline); });
            if (result.status == 1) {
                clearFound();
                report(QStringLiteral("Servidor não alcançado. Verifique se há conexão com a internet.\n")
                       + QString::fromStdString(result.message));
            } else if (!result.message.empty()) {
                clearFound();
                report(QString::fromStdString(result.message));
            } else if (flow == Flow::Registration) {
                ModelUpdate::post(found, [found, devices = result.devices] { found->setDevices(devices); });
            } else {
                ModelUpdate::post(maintenance,
                                  [maintenance, devices = result.devices] { maintenance->setDevices(devices); });
            }
            finished();
        } catch (const std::exception& e) {
            clearFound();
            report(QString::fromStdString(e.what()));
            ModelUpdate::post(this, [this] { emit offLineServer(false); });
            finished();
        }
    });
}

void RegistrationModel::afterDevicesRegistration()
{
    emit devicesRegistered();
}

void RegistrationModel::resetThisModel()
{
    if (hierarchyList_)
        hierarchyList_->resetThisModel();
    if (maintenance_)
        maintenance_->resetError();
    errorMessage_.clear();
    emit errorChanged();
}

void RegistrationModel::notifyNewItemModel()
{
    foundDevices_->setCurrentItem(hierarchyItemModel_);
    maintenance_->setCurrentItem(hierarchyItemModel_);
}

void RegistrationModel::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}
