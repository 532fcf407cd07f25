#include "config/ProxySettings.h"

#include "config/ApplicationPaths.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using orvane::model::loadProxySettings;
using orvane::model::ProxySettings;
using orvane::model::saveProxySettings;
using orvane::test::readFile;
using orvane::test::TempDir;
using orvane::test::writeFile;

TEST(ProxySettingsFile, DefaultsWithoutAFileAndForEmptyValues)
{
    TempDir dir;
    const ProxySettings none = loadProxySettings(dir.file("missing.properties"));
    EXPECT_TRUE(none.enable);
    EXPECT_EQ(none.mode, L"2");
    EXPECT_FALSE(none.initialAuthenticate);
    EXPECT_TRUE(none.addressHttp.empty() && none.addressHttps.empty() && none.bypass.empty());
    EXPECT_TRUE(none.userName.empty() && none.password.empty());

    writeFile(dir.file("p"), "proxy.enable =\nproxy.initialAutenticate =\nproxy.mode =   \n");
    const ProxySettings empty = loadProxySettings(dir.file("p"));
    EXPECT_TRUE(empty.enable);
    EXPECT_FALSE(empty.initialAuthenticate);
    EXPECT_EQ(empty.mode, L"2");
}

TEST(ProxySettingsFile, FlagWordsAndCase)
{
    TempDir dir;
    struct Case { const char* value; bool enable; };
    for (const Case& c : {Case{"false", false}, Case{"False", false}, Case{"yes", false},
                          Case{"TRUE", true}, Case{"tRuE", true}}) {
        writeFile(dir.file("p"), std::string("proxy.enable = ") + c.value + "\nproxy.initialAutenticate = "
                                     + c.value + "\n");
        const ProxySettings s = loadProxySettings(dir.file("p"));
        EXPECT_EQ(s.enable, c.enable) << c.value;
        EXPECT_EQ(s.initialAuthenticate, c.enable) << c.value;
    }
    // The key keeps its historical spelling: the correct spelling is foreign.
    writeFile(dir.file("p"), "proxy.initialAuthenticate = TRUE\n");
    EXPECT_FALSE(loadProxySettings(dir.file("p")).initialAuthenticate);
}

TEST(ProxySettingsFile, NewFileHasEightSortedLinesAndRoundTrips)
{
    TempDir dir;
    ProxySettings s;
    s.enable = false;
    s.mode = L"3";
    s.addressHttp = L"  proxy.local:3128 ";
    s.addressHttps = L"proxy.local:3129";
    s.bypass = L"*.intra;localhost";
    s.initialAuthenticate = true;
    s.userName = L"jo\u00e3o";
    s.password = L" segredo ";
    saveProxySettings(s, dir.file("proxy.properties"));

    EXPECT_EQ(readFile(dir.file("proxy.properties")),
              "proxy.address.http = proxy.local:3128\n"
              "proxy.address.https = proxy.local:3129\n"
              "proxy.bypass = *.intra;localhost\n"
              "proxy.enable = FALSE\n"
              "proxy.initialAutenticate = TRUE\n"
              "proxy.mode = 3\n"
              "proxy.password = segredo\n"
              "proxy.username = jo\xe3o\n");

    ProxySettings expected = s;
    expected.addressHttp = L"proxy.local:3128";
    expected.password = L"segredo";
    const ProxySettings back = loadProxySettings(dir.file("proxy.properties"));
    EXPECT_EQ(back, expected);
    // A second save of what was read changes nothing.
    const std::string first = readFile(dir.file("proxy.properties"));
    saveProxySettings(back, dir.file("proxy.properties"));
    EXPECT_EQ(readFile(dir.file("proxy.properties")), first);
}

TEST(ProxySettingsFile, KeepsCommentsAndForeignKeysAndCutsPasswordsAtEquals)
{
    TempDir dir;
    writeFile(dir.file("p"), "# escrito pelo instalador\nproxy.mode = 1\nother.key = kept\n");
    ProxySettings s;
    s.mode = L"2";
    s.password = L"a=b";
    saveProxySettings(s, dir.file("p"));
    const std::string text = readFile(dir.file("p"));
    EXPECT_EQ(text.rfind("# escrito pelo instalador\nproxy.mode = 2\nother.key = kept\n", 0), 0u) << text;
    EXPECT_NE(text.find("proxy.password = a=b\n"), std::string::npos);
    EXPECT_EQ(loadProxySettings(dir.file("p")).password, L"a");
}

TEST(ProxySettingsFile, DefaultPathIsTheUsersOwnerOnlyFile)
{
    ProxySettings s;
    s.addressHttp = L"h:1";
    saveProxySettings(s);
    struct stat info {};
    ASSERT_EQ(stat(orvane::model::proxyFilePath().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(loadProxySettings().addressHttp, L"h:1");
}
