#include "ui/models/InstallationModel.h"

#include "model/config/ApplicationPaths.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

using orvane::test::TempEnvironment;

TEST(InstallationModel, HasAnInstallationIsReadAfreshFromTheIdentityFile)
{
    TempEnvironment env;
    InstallationModel model;
    EXPECT_FALSE(model.getHasAnInstallation());
    orvane::test::writeFile(orvane::model::identityFilePath(), "<?xml version=\"1.0\"?>\n");
    EXPECT_TRUE(model.getHasAnInstallation());

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
