#include "app/ObjectGraph.h"

#include "config/ApplicationPaths.h"
#include "tests/mock/ProtocolSupport.h"
#include "tests/mock/TempDir.h"
#include "tests/uimodels/ModelTestSupport.h"

#include <QQmlContext>
#include <QQmlEngine>

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using orvane::test::ProtocolTest;
using orvane::test::sandbox;
using orvane::test::settle;

class ObjectGraphStart : public ProtocolTest {};

// What the screens find under each name, and that no other name is bound.
TEST_F(ObjectGraphStart, PublishesEveryModelUnderTheNameTheScreensUse)
{
    ObjectGraph graph;
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
    EXPECT_FALSE(engine.rootContext()->contextProperty("maintenanceDevicesModel").isValid());
}

// One emission at start reaches every receiver: each shows it by what it
// does with the identity (the catalogue rows, the recommended version, the
// proxy form read from its file, the first refresh of the certificates).
TEST_F(ObjectGraphStart, StartHandsTheIdentityToEveryModelAndRefreshesOnlyWhenEnrolled)
{
    {
        // A first run: no identity to hand, nothing to refresh.
        ObjectGraph graph;
        graph.start(L"2.1.4.3");
        settle();
        EXPECT_EQ(graph.aggregate(), nullptr);
        EXPECT_FALSE(graph.installationModel.getHasAnInstallation());
        EXPECT_EQ(graph.versionVerifier.currentVersion(), "2.1.4.3");
        EXPECT_EQ(graph.hierarchyListModel.rowCount(), 0);
        EXPECT_EQ(callCount("/listCertificates/"), 0);
    }
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

} // namespace
