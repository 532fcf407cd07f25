#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"

#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace orvane::model;

namespace {

std::wstring kestrel(const std::string& configuration)
{
    return deriveKestrelBaseUrl(Properties::parse(configuration));
}

std::wstring harrier(const std::string& configuration)
{
    return deriveHarrierBaseUrl(Properties::parse(configuration));
}

} // namespace

TEST(ServiceUrls, KestrelBaseJoinsUrlBaseNameAndDesktop)
{
    EXPECT_EQ(kestrel("brantis.url = https://host/\n"), L"https://host/TolvaneServices/desktop");
    EXPECT_EQ(kestrel("brantis.url = https://host\nbrantis.base.name = services/\n"),
              L"https://host/services/desktop");
    EXPECT_EQ(kestrel("brantis.url = http://h:8080//\nbrantis.base.name = /a/b//\n"),
              L"http://h:8080//a/b//desktop");  // only one slash is dropped at each end
    EXPECT_EQ(kestrel("brantis.url = http://h\nbrantis.base.name =\n"), L"http://h/TolvaneServices/desktop");
    EXPECT_EQ(kestrel("brantis.base.name = /x\n"), L"");
    EXPECT_EQ(kestrel(""), L"");
}

TEST(ServiceUrls, HarrierHostLosesOneCharacterMoreThanTheScheme)
{
    EXPECT_EQ(harrier("harrier.url = myhost\n"), L"myhost");
    EXPECT_EQ(harrier("harrier.url = https://myhost\n"), L"yhost");
    EXPECT_EQ(harrier("harrier.url = http://myhost\n"), L"yhost");
    EXPECT_EQ(harrier("harrier.url = http://\n"), L"");
    EXPECT_EQ(harrier("harrier.url = HTTPS://myhost\n"), L"HTTPS://myhost");  // exact case only
    EXPECT_EQ(harrier("harrier.url = host:8443=x\n"), L"host:8443");
    EXPECT_EQ(harrier(""), L"");
}

TEST(ServiceUrls, KestrelBaseIsKeptOnceKnownButAnEmptyOneIsAskedAgain)
{
    orvane::test::TempEnvironment env;
    std::filesystem::create_directories(env.commonDataFolder() + "/Orvane");
    EXPECT_EQ(kestrelBaseUrl(), L"");
    orvane::test::writeFile(configFilePath(), "brantis.url = http://first\n");
    EXPECT_EQ(kestrelBaseUrl(), L"http://first/TolvaneServices/desktop");
    orvane::test::writeFile(configFilePath(), "brantis.url = http://second\n");
    EXPECT_EQ(kestrelBaseUrl(), L"http://first/TolvaneServices/desktop");
}
