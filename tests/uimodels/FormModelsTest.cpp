// The forms that read and write the user's files: the first-run form, the
// proxy form, and the help page shipped beside the program.
#include "ui/models/HelpPage.h"
#include "ui/models/InstallationModel.h"
#include "ui/models/ProxyConfigModel.h"

#include "config/ApplicationPaths.h"
#include "config/ProxySettings.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QSignalSpy>

#include <filesystem>
#include <string>

namespace {

void writeUserFile(const std::string& path, const std::string& text)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    orvane::test::writeFile(path, text);
}

} // namespace

TEST(InstallationModel, BlankFieldsTakeTheirDefaultsWhenLeftAndADamagedFileIsNoInstallation)
{
    // (The name's default and the defaults sent are tested by the screens.)
    orvane::test::TempEnvironment env;
    InstallationModel model;
    QSignalSpy changed(&model, &InstallationModel::installationChanged);
    model.setUserName(QString());
    model.setDomainName(QStringLiteral(" "));
    EXPECT_EQ(changed.count(), 0);  // the setters store without telling
    model.userNameLeftBlank();
    model.domainNameLeftBlank();
    EXPECT_EQ(model.getUserName(), QString::fromUtf8("Usu\xC3\x83\xC2\xA1rio"));
    EXPECT_EQ(model.getDomainName(), QStringLiteral(" "));  // what was typed stays, a single blank too
    EXPECT_EQ(changed.count(), 1);

    // A damaged file reads as no installation instead of breaking the screen.
    writeUserFile(orvane::model::identityFilePath(), "<Orvane><broken");
    EXPECT_FALSE(model.getHasAnInstallation());
    model.reloadConfig();
    EXPECT_EQ(changed.count(), 2);
}

TEST(HelpPage, ShipsBesideTheBuiltProgram)
{
    QFile page(HelpPage::kestrelFaq(QStringLiteral(ORVANE_BINARY_DIR "/app")).toLocalFile());
    ASSERT_TRUE(page.open(QIODevice::ReadOnly)) << page.fileName().toStdString();
    EXPECT_TRUE(QString::fromUtf8(page.readAll()).contains(QStringLiteral("Orvane está offline")));
}

TEST(ProxyConfigModel, FormIsFilledFromTheFileAndSavingWritesWhatItShows)
{
    struct Case { std::string address, mode; QString server, port; bool direct, native, manual; };
    for (const Case& c : {Case{"proxy.local:3128", "1", "proxy.local", "3128", true, false, false},
                          Case{"semporta", "2", "semporta", "semporta", false, true, false},
                          Case{"", "3", "", "", false, false, true},
                          Case{"h:1:2", " 9", "h", "1:2", false, false, false}}) {
        writeUserFile(orvane::model::proxyFilePath(), "proxy.enable=FALSE\nproxy.initialAutenticate=TRUE\nproxy.mode="
                                                          + c.mode + "\nproxy.address.https=" + c.address + "\n");
        ProxyConfigModel form;
        form.setPtrOrvane(nullptr);
        EXPECT_EQ(form.server(), c.server) << c.address;
        EXPECT_EQ(form.port(), c.port) << c.address;
        EXPECT_EQ(form.typeDirect(), c.direct) << c.mode;
        EXPECT_EQ(form.typeNative(), c.native) << c.mode;
        EXPECT_EQ(form.typeManual(), c.manual) << c.mode;
        EXPECT_FALSE(form.useProxy());
        EXPECT_TRUE(form.preAuth());
    }

    // Saving drops what the form does not show.
    writeUserFile(orvane::model::proxyFilePath(), "proxy.mode=1\nproxy.address.http=velho:80\nproxy.bypass=*.local\n"
                                                  "proxy.username=joao\nproxy.password=segredo\n");
    ProxyConfigModel form;
    form.setPtrOrvane(nullptr);
    form.setTypeDirect(false);  // none ticked now
    form.setServer("proxy.empresa");
    form.setPort("8080");
    form.saveProxyConfig();

    const orvane::model::ProxySettings saved = orvane::model::loadProxySettings();
    EXPECT_EQ(saved.mode, L"3");
    EXPECT_EQ(saved.addressHttps, L"proxy.empresa:8080");
    for (const std::wstring& dropped : {saved.addressHttp, saved.bypass, saved.userName, saved.password})
        EXPECT_EQ(dropped, L"");

    // Edits not saved go on cancel.
    form.setPort("1");
    form.cancelProxyConfig();
    EXPECT_EQ(form.port(), "8080");
}
