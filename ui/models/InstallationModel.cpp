#include "ui/models/InstallationModel.h"

#include "model/identity/Orvane.h"
#include "config/HostFacts.h"
#include "ui/models/BackgroundTask.h"
#include "ui/models/HelpPage.h"
#include "ui/models/HierarchyListModel.h"
#include "ui/models/ModelUpdate.h"

#include <QMetaObject>

#include <exception>

namespace {

// What a blank field of the form becomes before anything is sent. The user
// name's default is the text the services have always received, doubled
// encoding and all.
const wchar_t* const kDefaultInstallationName = L"Casa";
const wchar_t* const kDefaultUserName = L"Usu\u00C3\u00A1rio";
const wchar_t* const kDefaultDomainName = L"Local";

} // namespace

InstallationModel::InstallationModel(QObject* certificatesTable, HierarchyListModel* hierarchyList, QObject* parent)
    : QObject(parent)
    , certificatesTable_(certificatesTable)
    , hierarchyList_(hierarchyList)
    , desktopInfo_(orvane::model::hostFacts())
    , shutdown_(this)
{
    fillDefault(desktopInfo_.installationName, kDefaultInstallationName);
    fillDefault(desktopInfo_.userName, kDefaultUserName);
    fillDefault(desktopInfo_.domainName, kDefaultDomainName);
    connect(this, &InstallationModel::setupNewConfigurationFinished, this, &InstallationModel::afterSetupConfiguration);
}

InstallationModel::~InstallationModel()
{
    shutdown_.stopAndWait();
}

void InstallationModel::fillDefault(std::wstring& field, const wchar_t* fallback)
{
    if (!field.empty())
        return;
    field = fallback;
    emit installationChanged();
}

bool InstallationModel::getHasAnInstallation() const
{
    try {
        return Orvane::hasInstallation();
    } catch (const std::exception&) {
        return false;
    }
}

QString InstallationModel::getInstallationName() const { return QString::fromStdWString(desktopInfo_.installationName); }
void InstallationModel::setInstallationName(const QString& value) { desktopInfo_.installationName = value.toStdWString(); }
QString InstallationModel::getUserName() const { return QString::fromStdWString(desktopInfo_.userName); }
void InstallationModel::setUserName(const QString& value) { desktopInfo_.userName = value.toStdWString(); }
QString InstallationModel::getDomainName() const { return QString::fromStdWString(desktopInfo_.domainName); }
void InstallationModel::setDomainName(const QString& value) { desktopInfo_.domainName = value.toStdWString(); }
QString InstallationModel::getErrorServer() const { return errorServer_; }
void InstallationModel::setErrorServer(const QString& value) { errorServer_ = value; }

void InstallationModel::reloadConfig()
{
    getHasAnInstallation();
    emit installationChanged();
}

void InstallationModel::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}

void InstallationModel::installationNameLeftBlank() { fillDefault(desktopInfo_.installationName, kDefaultInstallationName); }
void InstallationModel::userNameLeftBlank() { fillDefault(desktopInfo_.userName, kDefaultUserName); }
void InstallationModel::domainNameLeftBlank() { fillDefault(desktopInfo_.domainName, kDefaultDomainName); }

void InstallationModel::setupNewConfiguration()
{
    // A form sent with a blank field never reaches the service blank.
    fillDefault(desktopInfo_.installationName, kDefaultInstallationName);
    fillDefault(desktopInfo_.userName, kDefaultUserName);
    fillDefault(desktopInfo_.domainName, kDefaultDomainName);
    const orvane::model::DesktopInfo info = desktopInfo_;

    BackgroundTask::start([this, info] {
        const auto report = [this](const QString& text) {
            ModelUpdate::post(this, [this, text] {
                errorServer_ = text;
                emit errorChanged();
            });
        };
        try {
            orvane::model::CreateInstallationResult result = Orvane::install(info);
            std::shared_ptr<Orvane> created(std::move(result.aggregate));
            ModelUpdate::post(this, [this, created] {
                if (created)
                    created_.push_back(created);
                orvane_ = created.get();
            });
            if (result.status == 1) {
                // This model has no offline signal of its own: the table's
                // raises the banner.
                if (certificatesTable_)
                    ModelUpdate::post(certificatesTable_, [table = certificatesTable_] {
                        QMetaObject::invokeMethod(table, "offLineServer", Qt::DirectConnection, Q_ARG(bool, true));
                    });
                report(QStringLiteral("O Orvane está offline"));
            }
            // Not exclusive with the above: a text from the service stands last.
            if (!result.message.empty())
                report(QString::fromStdString(result.message));
            ModelUpdate::post(this, [this] {
                emit ptrOrvaneChanged(orvane_);
                emit setupNewConfigurationFinished();
            });
        } catch (const std::exception& e) {
            report(QString::fromStdString(e.what()));
        }
    });
}

void InstallationModel::openFaqKestrel()
{
    if (urlOpener_)
        urlOpener_(HelpPage::kestrelFaq());
}

void InstallationModel::afterSetupConfiguration()
{
    if (orvane_ && hierarchyList_)
        hierarchyList_->populateHierarchies();
}
