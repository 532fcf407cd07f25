#include "ui/models/InstallationModel.h"

#include "model/identity/Orvane.h"
#include "config/HostFacts.h"

#include <exception>

namespace {

// What a blank field of the form becomes before anything is sent. The user
// name's default is the text the services have always received, doubled
// encoding and all.
const wchar_t* const kDefaultInstallationName = L"Casa";
const wchar_t* const kDefaultUserName = L"Usu\u00C3\u00A1rio";
const wchar_t* const kDefaultDomainName = L"Local";

} // namespace

InstallationModel::InstallationModel(QObject* parent)
    : QObject(parent)
    , desktopInfo_(orvane::model::hostFacts())
{
    fillDefault(desktopInfo_.installationName, kDefaultInstallationName);
    fillDefault(desktopInfo_.userName, kDefaultUserName);
    fillDefault(desktopInfo_.domainName, kDefaultDomainName);
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
