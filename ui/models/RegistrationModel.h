#pragma once

#include "ui/models/WorkerShutdown.h"

#include <QObject>
#include <QString>

namespace orvane::model { class Orvane; }
using orvane::model::Orvane;

class FoundDevicesModel;
class HierarchyItemModel;
class HierarchyListModel;
class MaintenanceDevicesModel;
class VerificationConnectionServer;

// The front of adding phones and of removing them: looks up the phones of
// the identity typed in the chosen hierarchy's form and hands them to the
// found-devices list or to the maintenance list.
class RegistrationModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorChanged)
    Q_PROPERTY(HierarchyItemModel* hierarchyItemModel READ hierarchyItemModel WRITE setHierarchyItemModel
                   NOTIFY hierarchyItemModelChanged)

public:
    RegistrationModel(FoundDevicesModel* foundDevices, MaintenanceDevicesModel* maintenance,
                      VerificationConnectionServer* server, HierarchyListModel* hierarchyList,
                      QObject* parent = nullptr);
    ~RegistrationModel() override;

    QString errorMessage() const { return errorMessage_; }
    void setErrorMessage(const QString& value);
    HierarchyItemModel* hierarchyItemModel() const { return hierarchyItemModel_; }
    void setHierarchyItemModel(HierarchyItemModel* value);

signals:
    void requestRegistrationFinished();
    void requestMaintenanceFinished();
    void devicesRegistered();
    void errorChanged();
    void offLineServer(bool offline);
    void hierarchyItemModelChanged();

public slots:
    // Searches the identity's phones for the addition flow.
    void requestRegistration();
    // The same search for the maintenance flow.
    void requestMaintenanceDevices();
    void afterDevicesRegistration();
    void resetThisModel();
    // Gives the chosen form to both device lists.
    void notifyNewItemModel();
    void setPtrOrvane(Orvane* ptrOrvane);

private:
    // Which list a search fills, and which signal ends it.
    enum class Flow { Registration, Maintenance };
    void search(Flow flow);

    FoundDevicesModel* foundDevices_;
    MaintenanceDevicesModel* maintenance_;
    HierarchyListModel* hierarchyList_;
    QString errorMessage_;
    HierarchyItemModel* hierarchyItemModel_ = nullptr;
    Orvane* orvane_ = nullptr;
    WorkerShutdown shutdown_;
};
