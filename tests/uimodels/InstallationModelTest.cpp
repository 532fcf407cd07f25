#include "ui/models/InstallationModel.h"

#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "model/identity/Orvane.h"
#include "tests/mock/TempDir.h"
#include "tests/mock/ProtocolSupport.h"
#include "tests/uimodels/ModelTestSupport.h"
#include "ui/models/FoundDevicesModel.h"
#include "ui/models/HelpPage.h"
#include "ui/models/HierarchyListModel.h"
#include "ui/models/VerificationConnectionServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QSignalSpy>

#include <filesystem>

using orvane::test::drop;
using orvane::test::fault;
using orvane::test::sandbox;
using orvane::test::SignalLog;
using orvane::test::TempEnvironment;

namespace {

void saveIdentityFor(const std::wstring& targetUrl)
{
    orvane::model::Orvane identity;
    identity.privateKeyReference = L"Orvane.00000000-0000-4000-8000-000000000000";
    orvane::model::KestrelInstallation installation;
    installation.targetUrl = targetUrl;
    installation.installationCode = L"CODE";
    identity.kestrelInstallations.push_back(installation);
    identity.setOwners();
    identity.save();
}

using InstallationModelTest = orvane::test::ProtocolTest;

} // namespace

TEST_F(InstallationModelTest, HasAnInstallationIsReadAfreshFromTheIdentityFile)
{
    InstallationModel model;
    EXPECT_FALSE(model.getHasAnInstallation());

    // Only an installation for the configured service counts.
    saveIdentityFor(L"http://elsewhere.test/TolvaneServices/desktop");
    EXPECT_FALSE(model.getHasAnInstallation());
    saveIdentityFor(orvane::model::kestrelBaseUrl());
    EXPECT_TRUE(model.getHasAnInstallation());

    // A damaged file reads as no installation instead of breaking the screen.
    orvane::test::writeFile(orvane::model::identityFilePath(), "<Orvane><broken");
    EXPECT_FALSE(model.getHasAnInstallation());

    QSignalSpy changed(&model, &InstallationModel::installationChanged);
    model.reloadConfig();
    EXPECT_EQ(changed.count(), 1);
}

TEST(InstallationModel, BlankFieldsTakeTheirDefaultsWhenLeft)
{
    TempEnvironment env;
    InstallationModel model;
    EXPECT_FALSE(model.getInstallationName().isEmpty());  // measured from this host

    QSignalSpy changed(&model, &InstallationModel::installationChanged);
    model.setInstallationName(QString());
    model.setUserName(QString());
    model.setDomainName(QString());
    EXPECT_EQ(changed.count(), 0);  // the setters store without telling

    model.installationNameLeftBlank();
    model.userNameLeftBlank();
    model.domainNameLeftBlank();
    EXPECT_EQ(model.getInstallationName(), QStringLiteral("Casa"));
    EXPECT_EQ(model.getUserName(), QString::fromUtf8("Usu\xC3\x83\xC2\xA1rio"));
    EXPECT_EQ(model.getDomainName(), QStringLiteral("Local"));
    EXPECT_EQ(changed.count(), 3);

    // What the user typed stays, a single blank included.
    model.setInstallationName(QStringLiteral(" "));
    model.installationNameLeftBlank();
    EXPECT_EQ(model.getInstallationName(), QStringLiteral(" "));
    EXPECT_EQ(changed.count(), 3);
}

TEST_F(InstallationModelTest, FirstRunRegistrationReportsAndBroadcastsEvenOnFailure)
{
    Json::Value refusal(Json::objectValue);
    refusal["status"] = "false";
    refusal["message"] = "Chave pública recusada";
    using testing::StartsWith;
    struct Case {
        const char* name;
        Json::Value fault;
        std::vector<testing::Matcher<std::string>> expected;
        bool offline;
    } cases[] = {
        {"accepted", Json::Value(),
         {"installationChanged", "installationChanged", "installationChanged", "ptrOrvaneChanged(set)",
          "rowsInserted", "setupNewConfigurationFinished"},
         false},
        // Both texts are told, the service's last.
        {"unreachable", drop("/create"),
         {"installationChanged", "installationChanged", "installationChanged",
          "errorChanged=O Orvane está offline",
          StartsWith("errorChanged=Problema ao criar uma nova instalação no servidor."), "ptrOrvaneChanged(null)",
          "setupNewConfigurationFinished"},
         true},
        {"refused", fault("/create", 200, refusal),
         {"installationChanged", "installationChanged", "installationChanged",
          "errorChanged=Chave pública recusada", "ptrOrvaneChanged(null)", "setupNewConfigurationFinished"},
         false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::filesystem::remove(orvane::model::identityFilePath());
        sandbox().clearFaults();
        if (!c.fault.isNull())
            sandbox().addFault(c.fault);

        VerificationConnectionServer server;
        HierarchyListModel hierarchies(&server);
        // Any model whose offLineServer feeds the banner stands in for the
        // certificates table here.
        FoundDevicesModel table(&server);
        InstallationModel model(&table, &hierarchies);
        QObject::connect(&model, &InstallationModel::ptrOrvaneChanged, &hierarchies, &HierarchyListModel::setPtrOrvane);
        QObject::connect(&model, &InstallationModel::ptrOrvaneChanged, &model, &InstallationModel::setPtrOrvane);
        EXPECT_EQ(hierarchies.rowCount(), 0);

        SignalLog log;
        log.watch(&model, &InstallationModel::installationChanged, "installationChanged");
        log.watchWith(&model, &InstallationModel::errorChanged, "errorChanged", [&] { return model.getErrorServer(); });
        log.watch(&model, &InstallationModel::ptrOrvaneChanged, "ptrOrvaneChanged");
        log.watch(&model, &InstallationModel::setupNewConfigurationFinished, "setupNewConfigurationFinished");
        QObject::connect(&hierarchies, &QAbstractItemModel::rowsInserted,
                         [&] { log.entries.push_back("rowsInserted"); });
        model.setInstallationName(QString());
        model.setUserName(QString());
        model.setDomainName(QString());
        model.setupNewConfiguration();
        orvane::test::settle();

        EXPECT_THAT(log.entries, testing::ElementsAreArray(c.expected));
        EXPECT_EQ(server.isOffLine(), c.offline);
        EXPECT_EQ(model.getHasAnInstallation(), c.fault.isNull());
    }
    // The accepted case sent the defaults, doubled encoding included, and
    // the catalogue's five hierarchies filled the list.
    const Json::Value installations = sandbox().get("/installations")["kestrel"];
    ASSERT_FALSE(installations.empty());
    const Json::Value& sent = installations[installations.size() - 1];
    EXPECT_EQ(sent["installation_name"].asString(), "Casa");
    EXPECT_EQ(sent["user_name"].asString(), "Usu\xC3\x83\xC2\xA1rio");
    EXPECT_EQ(sent["domain_name"].asString(), "Local");
}

TEST(HelpPage, ShipsBesideTheBuiltProgramAndCoversTheTopics)
{
    const QUrl page = HelpPage::kestrelFaq(QStringLiteral(ORVANE_BINARY_DIR "/app"));
    ASSERT_TRUE(page.isLocalFile());
    QFile file(page.toLocalFile());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << page.toLocalFile().toStdString();
    const QString text = QString::fromUtf8(file.readAll());
    for (const char* topic : {"id=\"registrar\"", "id=\"celular\"", "id=\"nuvem\"", "id=\"assinatura\"",
                              "id=\"offline\"", "Orvane está offline"})
        EXPECT_TRUE(text.contains(QString::fromUtf8(topic))) << topic;
}
