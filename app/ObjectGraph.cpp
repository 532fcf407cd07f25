#include "app/ObjectGraph.h"

#include "app/QmlTypes.h"
#include "model/identity/Orvane.h"
#include "ui/models/BackgroundTask.h"

#include <QDesktopServices>
#include <QQmlContext>

ObjectGraph::ObjectGraph()
{
    QmlTypes::registerHierarchyItemModel();
    installationModel.setUrlOpener(&QDesktopServices::openUrl);

    // The aggregate reaches the models only through this signal: at start,
    // and again after every attempt to register this computer.
    InstallationModel* source = &installationModel;
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &versionVerifier, &VersionVerifier::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &proxyConfigModel, &ProxyConfigModel::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &hierarchyListModel, &HierarchyListModel::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &foundDevicesModel, &FoundDevicesModel::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &maintenanceDevicesModel,
                     &MaintenanceDevicesModel::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &registrationModel, &RegistrationModel::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &keyGroupToBeUnregisteredModel,
                     &KeyGroupToBeUnregisteredModel::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &certificatesTableModel,
                     &CertificatesTableModel::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &harrierRegistration, &HarrierRegistration::setPtrOrvane);
    QObject::connect(source, &InstallationModel::ptrOrvaneChanged, &installationModel, &InstallationModel::setPtrOrvane);
}

ObjectGraph::~ObjectGraph()
{
    BackgroundTask::waitForLast();
}

void ObjectGraph::start(const std::wstring& version)
{
    if (orvane::model::Orvane::hasInstallation()) {
        orvane_ = orvane::model::Orvane::load();
        if (orvane_)
            orvane_->refreshAuthorizationModes();
    }
    emit installationModel.ptrOrvaneChanged(orvane_.get());

    versionVerifier.setCurrentVersion(version);

    // The first refresh must never keep the window from opening: whatever
    // it throws is dropped, and the list offers to reload.
    try {
        certificatesTableModel.updateCertificates();
    } catch (...) {
    }
}

void ObjectGraph::publish(QQmlContext* context)
{
    context->setContextProperty(QStringLiteral("versionVerifier"), &versionVerifier);
    context->setContextProperty(QStringLiteral("proxyConfigModel"), &proxyConfigModel);
    context->setContextProperty(QStringLiteral("keyGroupToBeUnregisteredModel"), &keyGroupToBeUnregisteredModel);
    context->setContextProperty(QStringLiteral("certificatesTableModel"), &certificatesTableModel);
    context->setContextProperty(QStringLiteral("foundDevicesModel"), &foundDevicesModel);
    context->setContextProperty(QStringLiteral("installationModel"), &installationModel);
    context->setContextProperty(QStringLiteral("registrationModel"), &registrationModel);
    // The screens bind to the singular.
    context->setContextProperty(QStringLiteral("maintenanceDeviceModel"), &maintenanceDevicesModel);
    context->setContextProperty(QStringLiteral("verificationConnectionServer"), &verificationConnectionServer);
    context->setContextProperty(QStringLiteral("hierarchyListModel"), &hierarchyListModel);
    context->setContextProperty(QStringLiteral("harrierRegistration"), &harrierRegistration);
}
