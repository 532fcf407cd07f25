#pragma once

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

#include <memory>
#include <string>

class QQmlContext;

namespace orvane::model { class Orvane; }

// Every presentation model of the window, built in the order in which they
// hold each other (a model handed to a later one must outlive it), with the
// one signal through which the identity aggregate reaches them all.
class ObjectGraph {
public:
    // Builds the eleven models, registers the types the screens create
    // themselves and connects InstallationModel::ptrOrvaneChanged to the ten
    // models that keep the aggregate.
    ObjectGraph();
    // Lets the last background task end before any model it reports to goes.
    ~ObjectGraph();
    ObjectGraph(const ObjectGraph&) = delete;
    ObjectGraph& operator=(const ObjectGraph&) = delete;

    // The start of the window: loads the identity when this computer has an
    // installation for the configured service (which may talk to the
    // network, before any window exists), hands the aggregate (or null) to
    // every model, gives the version to the verifier and starts the first
    // certificate refresh in the background. An identity file that cannot
    // be read ends the start here by its exception; the file stays as it is.
    void start(const std::wstring& version);

    // The models under the names the screens bind to.
    void publish(QQmlContext* context);

    orvane::model::Orvane* aggregate() const { return orvane_.get(); }

private:
    // Declared before the models, so it outlives every one that points to it.
    std::unique_ptr<orvane::model::Orvane> orvane_;

public:
    // Objects in order of construction; each is destroyed before the ones
    // above it.
    VersionVerifier versionVerifier;
    ProxyConfigModel proxyConfigModel;
    VerificationConnectionServer verificationConnectionServer;
    HierarchyListModel hierarchyListModel{&verificationConnectionServer};
    FoundDevicesModel foundDevicesModel{&verificationConnectionServer};
    MaintenanceDevicesModel maintenanceDevicesModel{&verificationConnectionServer};
    RegistrationModel registrationModel{&foundDevicesModel, &maintenanceDevicesModel, &verificationConnectionServer,
                                        &hierarchyListModel};
    KeyGroupToBeUnregisteredModel keyGroupToBeUnregisteredModel{&verificationConnectionServer};
    CertificatesTableModel certificatesTableModel{&registrationModel, &keyGroupToBeUnregisteredModel,
                                                  &verificationConnectionServer};
    InstallationModel installationModel{&certificatesTableModel, &hierarchyListModel};
    HarrierRegistration harrierRegistration{&verificationConnectionServer, &certificatesTableModel,
                                            &keyGroupToBeUnregisteredModel};
};
