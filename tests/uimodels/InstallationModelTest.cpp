#include "ui/models/InstallationModel.h"

#include "model/identity/Orvane.h"
#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

#include <filesystem>

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

} // namespace

TEST(InstallationModel, HasAnInstallationIsReadAfreshFromTheIdentityFile)
{
    TempEnvironment env;
    std::filesystem::create_directories(env.commonDataFolder() + "/Orvane");
    orvane::test::writeFile(orvane::model::configFilePath(), "brantis.url = http://kestrel.test\n");
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
