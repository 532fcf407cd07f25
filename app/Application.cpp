#include "app/Application.h"

#include "app/FontFamilies.h"
#include "app/ProxyCredentialDialog.h"
#include "app/SingleInstance.h"
#include "app/WindowActivator.h"
#include "model/identity/Orvane.h"
#include "ui/models/InstallationModel.h"
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
    VerificationConnectionServer verificationConnectionServer;
    InstallationModel installationModel;

    // The aggregate reaches the models only through this signal.
    QObject::connect(&installationModel, &InstallationModel::ptrOrvaneChanged, &versionVerifier, &VersionVerifier::setPtrOrvane);
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
    FontFamilies::registerSubstitutes();

    QQmlApplicationEngine engine;
    QQmlContext* context = engine.rootContext();
    context->setContextProperty(QStringLiteral("versionVerifier"), &versionVerifier);
    context->setContextProperty(QStringLiteral("installationModel"), &installationModel);
    context->setContextProperty(QStringLiteral("verificationConnectionServer"), &verificationConnectionServer);
    engine.load(QUrl(QStringLiteral("qrc:/main.qml")));

    const QWindowList windows = QGuiApplication::allWindows();
    if (windows.isEmpty())
        return 1;  // the root document did not load; Qt has said why
    instance.publishWindow(static_cast<std::uint64_t>(windows.first()->winId()));

    return QApplication::exec();
}
