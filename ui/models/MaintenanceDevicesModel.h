#pragma once

#include "model/kestrel/DeviceAuthorization.h"
#include "model/kestrel/IdentityKey.h"
#include "ui/models/DeviceRows.h"
#include "ui/models/WaitingList.h"
#include "ui/models/WorkerShutdown.h"

#include <QAbstractListModel>
#include <QString>

#include <vector>

namespace orvane::model {
class Clock;
class Orvane;
} // namespace orvane::model
using orvane::model::Orvane;

class HierarchyItemModel;
class VerificationConnectionServer;

// Removes phones from an identity in two stages: one phone of the identity,
// chosen in a combo box, approves the maintenance; then the other phones can
// be ticked for removal. The approving phone can never be removed in the
// same run, so an identity with one phone has nothing to remove.
class MaintenanceDevicesModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY errorChanged)
    Q_PROPERTY(QString errorListDevices READ errorListDevices NOTIFY errorChanged)
    Q_PROPERTY(bool isError READ isError NOTIFY errorChanged)
    Q_PROPERTY(QString listWaiting READ listWaiting NOTIFY confirmDevice)
    Q_PROPERTY(bool existDeviceMaintenance READ getExistDeviceMaintenance NOTIFY markChanged)
    Q_PROPERTY(bool existAnyDeviceMaintenance READ getExistAnyDeviceMaintenance NOTIFY markChanged)

public:
    enum Roles { DeviceNameRole = Qt::UserRole + 1, DeviceCodeRole, MarkToSyncRole, EnabledItemRole };

    explicit MaintenanceDevicesModel(VerificationConnectionServer* server, QObject* parent = nullptr);
    ~MaintenanceDevicesModel() override;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString errorMessage() const { return errorMessage_; }
    QString errorListDevices() const { return errorListDevices_; }
    bool isError() const { return isError_; }
    QString listWaiting() const { return waiting_.text(); }

    void setCurrentItem(HierarchyItemModel* item) { currentItem_ = item; }
    // The clock of the wait; the system's unless a test gives another. It
    // must outlive the model.
    void setClock(orvane::model::Clock& clock) { clock_ = &clock; }

    // The result of a search. On the model's thread; workers post them.
    void clearDevices();
    void setDevices(const std::vector<orvane::model::DeviceEntry>& devices);

signals:
    void devicesFound();
    void markChanged();
    void errorChanged();
    void confirmDevice();
    void pushAuthenticationDeviceFinished(bool isOk);
    // 0 list shown, 1 failure, 2 working, 3 finished.
    void maintenanceDevices(int status);
    void configureIndexCombo(int indice);
    void offLineServer(bool offline);
    void selectTabIndex();
    void maintenanceFinish();

public slots:
    void populateFoundDevices();
    // Chooses the approving phone: every row unticked and selectable, the
    // chosen one neither.
    void configureItemIndexCombo(int index);
    bool getExistDeviceMaintenance() const;
    // Asks the chosen phone to approve the maintenance and waits for it.
    void pushMainteanceAuthenticationDevice();
    void updateStatus(int index, bool checked);
    // Removes the ticked phones under the approval just given.
    void maintenanceWithDevices();
    void resetError();
    bool getExistAnyDeviceMaintenance() const;
    void initTabIndex();
    void finishMaintenance();
    void setPtrOrvane(Orvane* ptrOrvane);

private:
    void fail(const QString& text);

    HierarchyItemModel* currentItem_ = nullptr;
    orvane::model::IdentityKey identityKey_;
    DeviceRows devices_;
    std::vector<orvane::model::DeviceEntry> devicesToRemove_;
    std::vector<orvane::model::DeviceAuthorization> authenticationResults_;
    int selectedDeviceIndex_ = 0;
    QString errorMessage_;
    QString errorListDevices_;
    bool isError_ = false;
    WaitingList waiting_;
    Orvane* orvane_ = nullptr;
    orvane::model::Clock* clock_;
    WorkerShutdown shutdown_;
};
