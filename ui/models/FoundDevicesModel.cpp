#include "ui/models/FoundDevicesModel.h"

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/identity/Orvane.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "ui/models/BackgroundTask.h"
#include "ui/models/DeviceOutcome.h"
#include "ui/models/HierarchyItemModel.h"
#include "ui/models/ModelUpdate.h"
#include "ui/models/VerificationConnectionServer.h"

#include <exception>

using namespace orvane::model;

namespace {

const char* const kRegistrationFailed = "Erro ao tentar efetuar o registro dos dispositivos selecionados.\n";

} // namespace

FoundDevicesModel::FoundDevicesModel(VerificationConnectionServer* server, QObject* parent)
    : QAbstractTableModel(parent)
    , waiting_(this, [this] { emit confirmDevice(); }, QStringLiteral("\n"))
    , clock_(&Clock::system())
    , shutdown_(this)
{
    connect(this, &FoundDevicesModel::devicesFound, this, &FoundDevicesModel::populateFoundDevices);
    if (server)
        connect(this, &FoundDevicesModel::offLineServer, server, &VerificationConnectionServer::setOffLine);
}

FoundDevicesModel::~FoundDevicesModel()
{
    shutdown_.stopAndWait();
}

int FoundDevicesModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : devices_.count();
}

int FoundDevicesModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant FoundDevicesModel::data(const QModelIndex& index, int role) const
{
    const DeviceRows::Row* row = devices_.at(index.row());
    if (!row)
        return {};
    switch (role) {
    case MarkToSyncRole:
        return row->markToSync;
    case DeviceNameRole:
        return DeviceOutcome::shownText(row->device.deviceName, row->device.deviceCode);
    case EnabledItemRole:
        return row->enabledItem;
    default:
        return {};
    }
}

QHash<int, QByteArray> FoundDevicesModel::roleNames() const
{
    return {{MarkToSyncRole, "markToSync"}, {DeviceNameRole, "deviceName"}, {EnabledItemRole, "enabledItem"}};
}

void FoundDevicesModel::clearDevices()
{
    devices_.found.clear();
    emit devicesFound();
}

void FoundDevicesModel::setDevices(const std::vector<DeviceEntry>& devices)
{
    devices_.found = devices;
    emit devicesFound();
}

void FoundDevicesModel::populateFoundDevices()
{
    beginResetModel();
    devices_.rebuild([](const DeviceEntry& device) {
        return DeviceRows::Row{device, !device.alreadyExist, !device.alreadyExist};
    });
    endResetModel();
    emit markChanged();
}

void FoundDevicesModel::updateStatus(int index, bool checked)
{
    DeviceRows::Row* row = devices_.at(index);
    if (!row)
        return;
    row->markToSync = checked;
    emit markChanged();
}

bool FoundDevicesModel::getAnyDeviceSelected() const
{
    return !devices_.ticked(false).empty();
}

void FoundDevicesModel::resetError()
{
    errorMessage_.clear();
    emit errorChanged();
}

void FoundDevicesModel::cancelWaiting()
{
    cancelled_ = true;
}

void FoundDevicesModel::registerWithDevices()
{
    // What the worker needs is taken here, on the GUI thread, while the
    // screen shows the waiting page and nobody changes it.
    const std::vector<DeviceEntry> devices = devices_.ticked(false);
    const IdentityKey identity = currentItem_ ? currentItem_->identity() : IdentityKey{};
    Orvane* orvane = orvane_;
    Clock* clock = clock_;
    cancelled_ = false;

    BackgroundTask::start([this, devices, identity, orvane, clock] {
        const auto fail = [this](const QString& text) {
            ModelUpdate::post(this, [this, text] {
                errorMessage_ = text;
                emit errorChanged();
            });
        };
        try {
            waiting_.addWaiting(QString());
            if (!orvane)
                throw ActiveInstallationNotFound("kestrel");
            const DeviceAuthorizationsResult result = authorizeDevices(
                orvane->kestrelInstallation(), identity, devices, "A",
                [this] { return cancelled_.load() || shutdown_.requested(); },
                [this](const std::wstring& name) { waiting_.addWaiting(QString::fromStdWString(name)); }, *clock);

            const bool offline = result.status != 0;
            ModelUpdate::post(this, [this, offline] { emit offLineServer(offline); });
            if (!result.message.empty())
                fail(kRegistrationFailed + QString::fromStdString(result.message));
            if (result.status == 0)
                ModelUpdate::post(this, [this] { emit devicesRegistered(); });
            // Nobody could answer: this plain message replaces any other.
            if (result.authorizations.empty())
                fail(QStringLiteral("Nenhum dispositivo autorizado"));
            const std::vector<QString> unanswered = DeviceOutcome::unanswered(result.authorizations);
            ModelUpdate::post(this, [this, unanswered] {
                errorListDevices_ = DeviceOutcome::listText(unanswered);
                isError_ = !unanswered.empty();
                emit errorChanged();
            });
        } catch (const std::exception& e) {
            fail(kRegistrationFailed + QString::fromStdString(e.what()));
        }
    });
}
