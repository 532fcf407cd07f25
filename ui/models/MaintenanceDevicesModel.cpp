#include "ui/models/MaintenanceDevicesModel.h"

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/identity/Orvane.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "ui/models/BackgroundTask.h"
#include "ui/models/DeviceOutcome.h"
#include "ui/models/HierarchyItemModel.h"
#include "ui/models/ModelUpdate.h"
#include "ui/models/VerificationConnectionServer.h"

#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>

using namespace orvane::model;

namespace {

const char* const kAuthenticationFailed = "Erro ao tentar efetuar autenticação no dispositivo selecionado.\n";
const char* const kRemovalFailed = "Erro ao tentar efetuar a manutenção dos dispositivos selecionados.\n";
const char* const kRemovalOffline = "Erro ao tentar efetuar a manutenção dos dispositivos selecionados.\n"
                                    "Favor verifique sua conexão de rede e tente novamente.\n";

KestrelInstallation& activeInstallation(Orvane* orvane)
{
    if (!orvane)
        throw ActiveInstallationNotFound("kestrel");
    return orvane->kestrelInstallation();
}

} // namespace

MaintenanceDevicesModel::MaintenanceDevicesModel(VerificationConnectionServer* server, QObject* parent)
    : QAbstractListModel(parent)
    , waiting_(this, [this] { emit confirmDevice(); })
    , clock_(&Clock::system())
    , shutdown_(this)
{
    connect(this, &MaintenanceDevicesModel::devicesFound, this, &MaintenanceDevicesModel::populateFoundDevices);
    if (server)
        connect(this, &MaintenanceDevicesModel::offLineServer, server, &VerificationConnectionServer::setOffLine);
}

MaintenanceDevicesModel::~MaintenanceDevicesModel()
{
    shutdown_.stopAndWait();
}

int MaintenanceDevicesModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : devices_.count();
}

QVariant MaintenanceDevicesModel::data(const QModelIndex& index, int role) const
{
    const DeviceRows::Row* row = devices_.at(index.row());
    if (!row)
        return {};
    switch (role) {
    case DeviceNameRole:
        return DeviceOutcome::shownText(row->device.deviceName, row->device.deviceCode);
    case DeviceCodeRole:
        return DeviceOutcome::shownText(row->device.deviceCode, row->device.deviceName);
    case MarkToSyncRole:
        return row->markToSync;
    case EnabledItemRole:
        return row->enabledItem;
    default:
        return {};
    }
}

QHash<int, QByteArray> MaintenanceDevicesModel::roleNames() const
{
    return {{DeviceNameRole, "deviceName"},
            {DeviceCodeRole, "deviceCode"},
            {MarkToSyncRole, "markToSync"},
            {EnabledItemRole, "enabledItem"}};
}

void MaintenanceDevicesModel::clearDevices()
{
    devices_.found.clear();
    emit devicesFound();
}

void MaintenanceDevicesModel::setDevices(const std::vector<DeviceEntry>& devices)
{
    devices_.found = devices;
    emit devicesFound();
}

void MaintenanceDevicesModel::populateFoundDevices()
{
    beginResetModel();
    devices_.rebuild([](const DeviceEntry& device) { return DeviceRows::Row{device, false, true}; });
    endResetModel();
    if (devices_.empty()) {
        emit configureIndexCombo(0);
        emit markChanged();
        return;
    }
    // The first phone is the approving one until the combo says otherwise.
    selectedDeviceIndex_ = 0;
    beginResetModel();
    devices_.at(0)->markToSync = false;
    devices_.at(0)->enabledItem = false;
    endResetModel();
    emit markChanged();
    emit configureIndexCombo(0);
    emit markChanged();
}

void MaintenanceDevicesModel::configureItemIndexCombo(int index)
{
    if (devices_.empty())
        return;
    selectedDeviceIndex_ = index;
    beginResetModel();
    for (DeviceRows::Row& row : devices_.all()) {
        row.markToSync = false;
        row.enabledItem = true;
        emit markChanged();
    }
    if (DeviceRows::Row* chosen = devices_.at(index)) {
        chosen->markToSync = false;
        chosen->enabledItem = false;
    }
    endResetModel();
    emit markChanged();
}

bool MaintenanceDevicesModel::getExistDeviceMaintenance() const
{
    return devices_.count() > 1;
}

bool MaintenanceDevicesModel::getExistAnyDeviceMaintenance() const
{
    const DeviceRows::Row* selected = devices_.at(selectedDeviceIndex_);
    for (const DeviceEntry& device : devices_.ticked(false))
        if (!selected || device.deviceCode != selected->device.deviceCode)
            return true;
    return false;
}

void MaintenanceDevicesModel::updateStatus(int index, bool checked)
{
    DeviceRows::Row* row = devices_.at(index);
    if (!row)
        return;
    row->markToSync = checked;
    emit markChanged();
}

void MaintenanceDevicesModel::resetError()
{
    errorMessage_.clear();
    emit errorChanged();
}

void MaintenanceDevicesModel::initTabIndex()
{
    emit selectTabIndex();
}

void MaintenanceDevicesModel::finishMaintenance()
{
    std::puts("finishMaintenance");
    std::fflush(stdout);
    emit maintenanceFinish();
}

void MaintenanceDevicesModel::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}

void MaintenanceDevicesModel::fail(const QString& text)
{
    ModelUpdate::post(this, [this, text] {
        errorMessage_ = text;
        emit errorChanged();
    });
}

void MaintenanceDevicesModel::pushMainteanceAuthenticationDevice()
{
    const IdentityKey identity = currentItem_ ? currentItem_->identity() : IdentityKey{};
    std::optional<DeviceEntry> chosen;
    if (const DeviceRows::Row* row = devices_.at(selectedDeviceIndex_))
        chosen = row->device;
    // Only this worker writes the results, so what they are now is what
    // they are when it starts.
    const bool hadResults = !authenticationResults_.empty();
    Orvane* orvane = orvane_;
    Clock* clock = clock_;

    BackgroundTask::start([this, identity, chosen, hadResults, orvane, clock] {
        bool haveResults = hadResults;
        try {
            ModelUpdate::post(this, [this, identity] { identityKey_ = identity; });
            if (!chosen)
                throw std::out_of_range("nenhum dispositivo escolhido para a autenticação");
            waiting_.addWaiting(QString());
            // The person cannot cancel this wait; only the end of the program
            // stops it early.
            const DeviceAuthorizationsResult result = authorizeDevices(
                activeInstallation(orvane), identity, {*chosen}, "M", [this] { return shutdown_.requested(); },
                [this](const std::wstring& name) { waiting_.addWaiting(QString::fromStdWString(name)); }, *clock);

            haveResults = !result.authorizations.empty();
            const std::vector<QString> unanswered = DeviceOutcome::unanswered(result.authorizations);
            ModelUpdate::post(this, [this, results = result.authorizations, unanswered] {
                authenticationResults_ = results;
                errorListDevices_ = DeviceOutcome::listText(unanswered);
                // The reverse of the addition flow's flag: the screens show it
                // only after a failed wait.
                isError_ = unanswered.empty();
                if (unanswered.empty())
                    emit errorChanged();
            });
            const bool offline = result.status != 0;
            ModelUpdate::post(this, [this, offline] { emit offLineServer(offline); });
            if (result.message.empty()) {
                if (result.authorizations.empty())
                    throw std::runtime_error("o dispositivo não recebeu a solicitação");
                const bool answered = result.authorizations.front().answered;
                ModelUpdate::post(this, [this, answered] { emit pushAuthenticationDeviceFinished(answered); });
            } else {
                fail(kAuthenticationFailed + QString::fromStdString(result.message));
            }
        } catch (const std::exception& e) {
            fail(kAuthenticationFailed + QString::fromStdString(e.what()));
            if (haveResults)
                ModelUpdate::post(this, [this] { emit offLineServer(true); });
        }
    });
}

void MaintenanceDevicesModel::maintenanceWithDevices()
{
    devicesToRemove_ = devices_.ticked(true);
    const std::vector<DeviceEntry> devices = devicesToRemove_;
    const IdentityKey identity = identityKey_;
    const std::vector<DeviceAuthorization> approval = authenticationResults_;
    Orvane* orvane = orvane_;

    // Nothing is caught here: a failure before the call leaves the screen
    // on its working state, as it always has.
    BackgroundTask::start([this, devices, identity, approval, orvane] {
        ModelUpdate::post(this, [this] { emit maintenanceDevices(2); });
        if (approval.empty())
            throw std::logic_error("removal without an approval");
        const MaintenanceResult result =
            maintainDevices(activeInstallation(orvane), identity, approval.front().desktopRequestCode, devices);
        const bool offline = result.status != 0;
        ModelUpdate::post(this, [this, offline] {
            emit maintenanceDevices(3);
            emit offLineServer(offline);
        });
        // Not exclusive: an unreachable server with a text takes both, and
        // the second text stands.
        if (result.status == 1)
            ModelUpdate::post(this, [this, text = kRemovalOffline + QString::fromStdString(result.message)] {
                errorMessage_ = text;
                emit errorChanged();
                emit maintenanceDevices(1);
            });
        if (!result.message.empty())
            ModelUpdate::post(this, [this, text = kRemovalFailed + QString::fromStdString(result.message)] {
                errorMessage_ = text;
                emit errorChanged();
                emit maintenanceDevices(1);
            });
    });
}
