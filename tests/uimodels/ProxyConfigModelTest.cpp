#include "ui/models/ProxyConfigModel.h"

#include "config/ApplicationPaths.h"
#include "config/ProxySettings.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

#include <filesystem>
#include <string>

namespace {

void writeProxyFile(const std::string& text)
{
    std::filesystem::create_directories(std::filesystem::path(orvane::model::proxyFilePath()).parent_path());
    orvane::test::writeFile(orvane::model::proxyFilePath(), text);
}

} // namespace

TEST(ProxyConfigModel, FormIsFilledFromTheFile)
{
    struct Case { std::string address, mode; QString server, port; bool direct, native, manual; };
    for (const Case& c : {Case{"proxy.local:3128", "1", "proxy.local", "3128", true, false, false},
                          Case{"semporta", "2", "semporta", "semporta", false, true, false},
                          Case{"", "3", "", "", false, false, true},
                          Case{"h:1:2", " 9", "h", "1:2", false, false, false}}) {
        writeProxyFile("proxy.enable=FALSE\nproxy.initialAutenticate=TRUE\nproxy.mode=" + c.mode
                       + "\nproxy.address.https=" + c.address + "\n");
        ProxyConfigModel form;
        std::string order;
        QObject::connect(&form, &ProxyConfigModel::useProxyChanged, [&] { order += "useProxyChanged "; });
        QObject::connect(&form, &ProxyConfigModel::typeProxy, [&] { order += "typeProxy"; });
        form.setPtrOrvane(nullptr);
        EXPECT_EQ(order, "useProxyChanged typeProxy");
        EXPECT_EQ(form.server(), c.server) << c.address;
        EXPECT_EQ(form.port(), c.port) << c.address;
        EXPECT_EQ(form.typeDirect(), c.direct) << c.mode;
        EXPECT_EQ(form.typeNative(), c.native) << c.mode;
        EXPECT_EQ(form.typeManual(), c.manual) << c.mode;
        EXPECT_FALSE(form.useProxy());
        EXPECT_TRUE(form.preAuth());
    }
}

TEST(ProxyConfigModel, SavingWritesWhatTheFormShowsAndDropsTheRest)
{
    writeProxyFile("proxy.mode=1\nproxy.address.http=velho:80\nproxy.bypass=*.local\nproxy.username=joao\n"
                   "proxy.password=segredo\n");
    ProxyConfigModel form;
    form.setPtrOrvane(nullptr);
    QSignalSpy typeChanged(&form, &ProxyConfigModel::typeProxy);
    QSignalSpy changed(&form, &ProxyConfigModel::useProxyChanged);
    form.setTypeDirect(false);  // none ticked now
    form.setTypeDirect(false);
    form.setServer("proxy.empresa");
    form.setServer("proxy.empresa");
    form.setPort("8080");
    EXPECT_EQ(typeChanged.count(), 1);
    EXPECT_EQ(changed.count(), 2);
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
