// Runs the screen tests with the same context objects, connected the same
// way, as the shell publishes, inside throw-away XDG folders. No identity
// exists there, so every model starts without an aggregate.
#include "app/FontFamilies.h"
#include "app/QmlTypes.h"
#include "tests/mock/TempDir.h"
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

#include <QObject>
#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

class ScreenTestSetup : public QObject {
    Q_OBJECT

public slots:
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        QmlTypes::registerHierarchyItemModel();
        FontFamilies::registerSubstitutes();
        versionVerifier_.setCurrentVersion(L"2.1.4.3");
        proxyConfigModel_.cancelProxyConfig();
        const std::pair<const char*, QObject*> published[] = {
            {"versionVerifier", &versionVerifier_},
            {"proxyConfigModel", &proxyConfigModel_},
            {"keyGroupToBeUnregisteredModel", &keyGroupModel_},
            {"certificatesTableModel", &certificates_},
            {"foundDevicesModel", &foundDevices_},
            {"installationModel", &installation_},
            {"registrationModel", &registration_},
            {"maintenanceDeviceModel", &maintenance_},
            {"verificationConnectionServer", &server_},
            {"hierarchyListModel", &hierarchyList_},
            {"harrierRegistration", &harrier_},
        };
        for (const auto& [name, object] : published)
            engine->rootContext()->setContextProperty(QString::fromLatin1(name), object);
    }

private:
    orvane::test::TempEnvironment isolation_;
    VersionVerifier versionVerifier_;
    ProxyConfigModel proxyConfigModel_;
    VerificationConnectionServer server_;
    HierarchyListModel hierarchyList_{&server_};
    FoundDevicesModel foundDevices_{&server_};
    MaintenanceDevicesModel maintenance_{&server_};
    RegistrationModel registration_{&foundDevices_, &maintenance_, &server_, &hierarchyList_};
    KeyGroupToBeUnregisteredModel keyGroupModel_{&server_};
    CertificatesTableModel certificates_{&registration_, &keyGroupModel_, &server_};
    InstallationModel installation_{&certificates_, &hierarchyList_};
    HarrierRegistration harrier_{&server_, &certificates_, &keyGroupModel_};
};

QUICK_TEST_MAIN_WITH_SETUP(orvane_screens, ScreenTestSetup)

#include "QmlTestMain.moc"
