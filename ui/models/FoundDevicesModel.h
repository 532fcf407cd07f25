#pragma once

#include "ui/models/DeviceRows.h"
#include "ui/models/WaitingList.h"
#include "ui/models/WorkerShutdown.h"

#include <QAbstractTableModel>
#include <QString>

#include <atomic>
#include <vector>

namespace orvane::model {
class Clock;
class Orvane;
} // namespace orvane::model
using orvane::model::Orvane;

class HierarchyItemModel;
class VerificationConnectionServer;

// The phones a search found for an identity, to be ticked and asked to
// approve this computer; then the wait for their answers and its outcome.
class FoundDevicesModel : public QAbstractTableModel {
    Q_OBJECT
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY errorChanged)
    Q_PROPERTY(QString errorListDevices READ errorListDevices NOTIFY errorChanged)
    Q_PROPERTY(bool isError READ isError NOTIFY errorChanged)
    Q_PROPERTY(QString listWaiting READ listWaiting NOTIFY confirmDevice)
    Q_PROPERTY(bool anyDeviceSelected READ getAnyDeviceSelected NOTIFY markChanged)

public:
    enum Roles { MarkToSyncRole = Qt::UserRole + 1, DeviceNameRole, EnabledItemRole };

    explicit FoundDevicesModel(VerificationConnectionServer* server, QObject* parent = nullptr);
    ~FoundDevicesModel() override;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString errorMessage() const { return errorMessage_; }
    QString errorListDevices() const { return errorListDevices_; }
    bool isError() const { return isError_; }
    QString listWaiting() const { return waiting_.text(); }

    // The form the identity is read from; set by the registration model.
    void setCurrentItem(HierarchyItemModel* item) { currentItem_ = item; }
    void setPtrOrvane(Orvane* ptrOrvane) { orvane_ = ptrOrvane; }
    // The clock of the waits; the system's unless a test gives another.
    // It must outlive the model.
    void setClock(orvane::model::Clock& clock) { clock_ = &clock; }

    // The result of a search. On the model's thread; workers post them.
    void clearDevices();
    void setDevices(const std::vector<orvane::model::DeviceEntry>& devices);

signals:
    void devicesFound();
    void devicesRegistered();
    void markChanged();
    void errorChanged();
    void confirmDevice();
    void offLineServer(bool offline);

public slots:
    // New phones come ticked; phones already paired cannot be chosen.
    void populateFoundDevices();
    void updateStatus(int index, bool checked);
    bool getAnyDeviceSelected() const;
    // Asks the ticked phones to approve this computer and waits for them.
    void registerWithDevices();
    void resetError();
    // Ends the wait after its current pass.
    void cancelWaiting();

private:
    HierarchyItemModel* currentItem_ = nullptr;
    DeviceRows devices_;
    QString errorMessage_;
    QString errorListDevices_;
    bool isError_ = false;
    WaitingList waiting_;
    Orvane* orvane_ = nullptr;
    orvane::model::Clock* clock_;
    // Written on the GUI thread, read by the wait on the worker's.
    std::atomic<bool> cancelled_{false};
    WorkerShutdown shutdown_;
};
