#include "app/ObjectGraph.h"

#include "config/ApplicationPaths.h"
#include "tests/mock/ProtocolSupport.h"
#include "tests/mock/TempDir.h"
#include "tests/uimodels/ModelTestSupport.h"

#include <QQmlContext>
#include <QQmlEngine>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace orvane::test;

class ObjectGraphStart : public ProtocolTest {};

// What the screens find under each name; on a first run nothing is
// refreshed.
TEST_F(ObjectGraphStart, PublishesEveryModelUnderTheNameTheScreensUse)
{
    ObjectGraph graph;
    graph.start(L"2.1.4.3");
    settle();
    QQmlEngine engine;
    graph.publish(engine.rootContext());
    const std::pair<const char*, QObject*> expected[] = {
        {"versionVerifier", &graph.versionVerifier},
        {"proxyConfigModel", &graph.proxyConfigModel},
        {"keyGroupToBeUnregisteredModel", &graph.keyGroupToBeUnregisteredModel},
        {"certificatesTableModel", &graph.certificatesTableModel},
        {"foundDevicesModel", &graph.foundDevicesModel},
        {"installationModel", &graph.installationModel},
        {"registrationModel", &graph.registrationModel},
        {"maintenanceDeviceModel", &graph.maintenanceDevicesModel},
        {"verificationConnectionServer", &graph.verificationConnectionServer},
        {"hierarchyListModel", &graph.hierarchyListModel},
        {"harrierRegistration", &graph.harrierRegistration},
    };
    for (const auto& [name, object] : expected)
        EXPECT_EQ(engine.rootContext()->contextProperty(name).value<QObject*>(), object) << name;
    EXPECT_EQ(callCount("/listCertificates/"), 0);
}

// One emission at start reaches every receiver, each seen by what it does
// with the identity.
TEST_F(ObjectGraphStart, StartHandsTheIdentityToEveryModelAndRefreshesWhenEnrolled)
{
    const std::unique_ptr<orvane::model::Orvane> enrolled = enrol();
    pair(*enrolled, sandbox().deviceCodesOf("ana").front());
    std::filesystem::create_directories(std::filesystem::path(orvane::model::proxyFilePath()).parent_path());
    orvane::test::writeFile(orvane::model::proxyFilePath(), "proxy.mode=1\nproxy.address.https=proxy.local:3128\n");

    ObjectGraph graph;
    graph.start(L"2.1.4.3");
    settle();

    ASSERT_NE(graph.aggregate(), nullptr);
    EXPECT_TRUE(graph.installationModel.getHasAnInstallation());
    EXPECT_EQ(graph.versionVerifier.recommendedVersion(), "2.4.1");
    EXPECT_EQ(graph.hierarchyListModel.rowCount(), 5);
    EXPECT_EQ(graph.proxyConfigModel.server(), "proxy.local");
    EXPECT_EQ(callCount("/listCertificates/"), 1);
    EXPECT_GT(graph.certificatesTableModel.rowCount(), 0);
}

// The first-run registration, as the window's models hear it.
TEST_F(ObjectGraphStart, FirstRunRegistrationReportsAndBroadcastsEvenOnFailure)
{
    using testing::StartsWith;
    struct Case {
        Json::Value fault;
        std::vector<testing::Matcher<std::string>> expected;
    } cases[] = {
        {Json::Value(), {"ptrOrvaneChanged(set)", "setupNewConfigurationFinished"}},
        // Both texts are told, the service's last.
        {drop("/create"),
         {"errorChanged=O Orvane está offline",
          StartsWith("errorChanged=Problema ao criar uma nova instalação no servidor."), "ptrOrvaneChanged(null)",
          "setupNewConfigurationFinished"}},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.fault.toStyledString());
        std::filesystem::remove(orvane::model::identityFilePath());
        sandbox().clearFaults();
        if (!c.fault.isNull())
            sandbox().addFault(c.fault);
        ObjectGraph graph;
        InstallationModel& model = graph.installationModel;
        orvane::test::SignalLog log;
        log.watch(&model, &InstallationModel::installationChanged, "installationChanged");
        log.watchWith(&model, &InstallationModel::errorChanged, "errorChanged", [&] { return model.getErrorServer(); });
        log.watch(&model, &InstallationModel::ptrOrvaneChanged, "ptrOrvaneChanged");
        log.watch(&model, &InstallationModel::setupNewConfigurationFinished, "setupNewConfigurationFinished");
        model.setInstallationName(QString());
        model.setUserName(QString());
        model.setDomainName(QString());
        model.setupNewConfiguration();
        settle();

        // Each blank field took its default, and told so, before the call.
        c.expected.insert(c.expected.begin(), 3, "installationChanged");
        EXPECT_THAT(log.entries, testing::ElementsAreArray(c.expected));
        EXPECT_EQ(graph.verificationConnectionServer.isOffLine(), c.fault.isMember("drop"));
        EXPECT_EQ(model.getHasAnInstallation(), c.fault.isNull());
        EXPECT_EQ(graph.hierarchyListModel.rowCount(), c.fault.isNull() ? 5 : 0);
    }
    // The accepted case sent the defaults, doubled encoding included.
    const Json::Value installations = sandbox().get("/installations")["kestrel"];
    ASSERT_FALSE(installations.empty());
    const Json::Value& sent = installations[installations.size() - 1];
    EXPECT_EQ(sent["installation_name"].asString(), "Casa");
    EXPECT_EQ(sent["user_name"].asString(), "Usu\xC3\x83\xC2\xA1rio");
    EXPECT_EQ(sent["domain_name"].asString(), "Local");
}

} // namespace
