// The proxy settings file: what absent or odd values read as, and the
// layout of a new file. The line rules of the file itself belong to
// Properties.

#include "config/ProxySettings.h"

#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

using orvane::model::loadProxySettings;
using orvane::model::ProxySettings;
using orvane::model::saveProxySettings;
using orvane::test::readFile;
using orvane::test::TempDir;
using orvane::test::writeFile;

TEST(ProxySettingsFile, DefaultsFlagWordsAndTheKeysHistoricalSpelling)
{
    TempDir dir;
    struct Case {
        const char* text;   // empty: no file at all
        bool enable;
        bool initialAuthenticate;
        const wchar_t* mode;
    };
    for (const Case& c : {Case{"", true, false, L"2"},
                          Case{"proxy.enable =\nproxy.initialAutenticate =\nproxy.mode =   \n", true, false, L"2"},
                          Case{"proxy.enable = False\nproxy.initialAutenticate = tRuE\nproxy.mode = 1\n", false, true,
                               L"1"},
                          // Only "true" is true; the key's correct spelling is a foreign key.
                          Case{"proxy.enable = yes\nproxy.initialAuthenticate = TRUE\n", false, false, L"2"}}) {
        writeFile(dir.file("p"), c.text);
        const ProxySettings s = loadProxySettings(dir.file(*c.text ? "p" : "missing"));
        EXPECT_EQ(s.enable, c.enable) << c.text;
        EXPECT_EQ(s.initialAuthenticate, c.initialAuthenticate) << c.text;
        EXPECT_EQ(s.mode, c.mode) << c.text;
    }
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
    EXPECT_EQ(loadProxySettings(dir.file("proxy.properties")), expected);
}
