#include "app/Application.h"

#include "app/FontFamilies.h"
#include "app/ProxyCredentialDialog.h"
#include "app/QmlTypes.h"
#include "app/SingleInstance.h"
#include "app/WindowActivator.h"
#include "model/identity/Orvane.h"
#include "ui/models/CertificatesTableModel.h"
#include "ui/models/FoundDevicesModel.h"
#include "ui/models/HarrierRegistration.h"
#include "ui/models/HierarchyListModel.h"
#include "ui/models/InstallationModel.h"
#include "ui/models/KeyGroupToBeUnregisteredModel.h"
#include "ui/models/MaintenanceDevicesModel.h"
#include "ui/models/ProxyConfigModel.h"
#include "ui/models/RegistrationModel.h"
#include "ui/models/VerificationConnectionServer.h"
#include "ui/models/VersionVerifier.h"

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QUrl>
#include <QWindow>

#include <memory>

const wchar_t* const Application::kVersion = L"2.1.4.3";

int Application::run(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setAttribute(Qt::AA_UseSoftwareOpenGL, true);
    ProxyCredentialDialog::install();   // proxy credentials are asked in a dialog, not on a terminal

    SingleInstance instance;
    if (!instance.acquire()) {
        WindowActivator::forThisPlatform()->activate(instance.publishedWindow());
        return 1;
    }

    // The identity aggregate outlives every model that points to it.
    std::unique_ptr<orvane::model::Orvane> orvane;

    // The object graph, in the order the models depend on each other; each
    // outlives the engine that shows it.
    VersionVerifier versionVerifier;
    ProxyConfigModel proxyConfigModel;
    VerificationConnectionServer verificationConnectionServer;
    HierarchyListModel hierarchyListModel(&verificationConnectionServer);
    FoundDevicesModel foundDevicesModel(&verificationConnectionServer);
    MaintenanceDevicesModel maintenanceDevicesModel(&verificationConnectionServer);
    RegistrationModel registrationModel(&foundDevicesModel, &maintenanceDevicesModel, &verificationConnectionServer,
                                        &hierarchyListModel);
    KeyGroupToBeUnregisteredModel keyGroupModel(&verificationConnectionServer);
    CertificatesTableModel certificatesTableModel(&registrationModel, &keyGroupModel, &verificationConnectionServer);
    InstallationModel installationModel(&certificatesTableModel, &hierarchyListModel);
    HarrierRegistration harrierRegistration(&verificationConnectionServer, &certificatesTableModel, &keyGroupModel);
    QmlTypes::registerHierarchyItemModel();

    // The aggregate reaches the models only through this signal.
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &versionVerifier, &VersionVerifier::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &proxyConfigModel, &ProxyConfigModel::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &hierarchyListModel, &HierarchyListModel::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &foundDevicesModel, &FoundDevicesModel::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &maintenanceDevicesModel, &MaintenanceDevicesModel::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &registrationModel, &RegistrationModel::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &keyGroupModel, &KeyGroupToBeUnregisteredModel::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &certificatesTableModel, &CertificatesTableModel::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &harrierRegistration, &HarrierRegistration::setPtrOrvane);
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &installationModel, &InstallationModel::setPtrOrvane);

    // Loading and filling in missing authorisation modes may talk to the
    // network (the hierarchy catalogue, the cloud accounts); it happens before
    // any window exists. An identity file that cannot be read ends the
    // start here, leaving the file as it is for the user or support to see.
    if (orvane::model::Orvane::hasInstallation()) {
        orvane = orvane::model::Orvane::load();
        if (orvane)
            orvane->refreshAuthorizationModes();
    }
    emit installationModel.ptrOrvaneChanged(orvane.get());

    versionVerifier.setCurrentVersion(kVersion);
    // The first listing runs in the background; a failure to start it only
    // leaves the list as the identity document has it.
    try {
        certificatesTableModel.updateCertificates();
    } catch (...) {
    }
    FontFamilies::registerSubstitutes();

    QQmlApplicationEngine engine;
    QQmlContext* context = engine.rootContext();
    context->setContextProperty(QStringLiteral("versionVerifier"), &versionVerifier);
    context->setContextProperty(QStringLiteral("proxyConfigModel"), &proxyConfigModel);
    context->setContextProperty(QStringLiteral("keyGroupToBeUnregisteredModel"), &keyGroupModel);
    context->setContextProperty(QStringLiteral("certificatesTableModel"), &certificatesTableModel);
    context->setContextProperty(QStringLiteral("foundDevicesModel"), &foundDevicesModel);
    context->setContextProperty(QStringLiteral("installationModel"), &installationModel);
    context->setContextProperty(QStringLiteral("registrationModel"), &registrationModel);
    context->setContextProperty(QStringLiteral("maintenanceDeviceModel"), &maintenanceDevicesModel);
    context->setContextProperty(QStringLiteral("verificationConnectionServer"), &verificationConnectionServer);
    context->setContextProperty(QStringLiteral("hierarchyListModel"), &hierarchyListModel);
    context->setContextProperty(QStringLiteral("harrierRegistration"), &harrierRegistration);
    engine.load(QUrl(QStringLiteral("qrc:/main.qml")));

    const QWindowList windows = QGuiApplication::allWindows();
    if (windows.isEmpty())
        return 1;  // the root document did not load; Qt has said why
    instance.publishWindow(static_cast<std::uint64_t>(windows.first()->winId()));

    return QApplication::exec();
}
