// Where the agent's files are, what it says of this host, and the service
// addresses it derives from the configuration.

#include "config/ApplicationPaths.h"
#include "config/HostFacts.h"
#include "config/ServiceUrls.h"
#include "config/linux/LinuxHostPlatform.h"

#include "tests/mock/FailureText.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

using namespace orvane::model;
using orvane::test::failureOf;
namespace fs = std::filesystem;

namespace {

class SilentPlatform : public HostPlatform {
public:
    std::optional<std::string> commonDataFolder() const override { return std::nullopt; }
    std::optional<std::string> userDataFolder() const override { return std::nullopt; }
    std::optional<std::wstring> computerName() const override { return std::nullopt; }
    std::optional<std::wstring> dnsDomain() const override { return std::nullopt; }
    std::optional<std::wstring> userName() const override { return std::nullopt; }
    std::wstring operatingSystemName() const override { return L"Debian GNU/Linux 12 (bookworm)"; }
};

std::wstring kestrel(const std::string& configuration)
{
    return deriveKestrelBaseUrl(Properties::parse(configuration));
}

std::wstring harrier(const std::string& configuration)
{
    return deriveHarrierBaseUrl(Properties::parse(configuration));
}

} // namespace

TEST(ApplicationPaths, FollowTheXdgFoldersAndFailuresSayWhichFolder)
{
    orvane::test::TempEnvironment env;
    const std::string user = env.userDataFolder();
    const std::string common = env.commonDataFolder();

    EXPECT_EQ(configFilePath(), common + "/Orvane/applicationConfig-2.properties");
    EXPECT_EQ(legacyConfigFilePath(), common + "/Kestrel_Desktop/applicationConfig.properties");
    EXPECT_FALSE(fs::exists(common + "/Orvane"));  // the common folder is never created

    EXPECT_EQ(identityFilePath(), user + "/Orvane/identity.xml");
    struct stat info {};
    ASSERT_EQ(stat((user + "/Orvane").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    // Merely asking for a legacy path creates the old folder.
    EXPECT_EQ(legacyProxyFilePath(), user + "/Kestrel_Desktop/proxy.properties");
    EXPECT_TRUE(fs::is_directory(user + "/Kestrel_Desktop"));

    setenv("XDG_CONFIG_DIRS", "relative/ignored:/first:/second", 1);
    EXPECT_EQ(configFilePath(), "/first/Orvane/applicationConfig-2.properties");
    unsetenv("XDG_CONFIG_DIRS");
    EXPECT_EQ(configFilePath(), "/etc/xdg/Orvane/applicationConfig-2.properties");
    // Without a usable XDG_DATA_HOME the data folder is under HOME, made when missing.
    setenv("XDG_DATA_HOME", "not/absolute", 1);
    EXPECT_EQ(proxyFilePath(), env.home() + "/.local/share/Orvane/proxy.properties");

    // A plain file where the user's data folder should be.
    orvane::test::writeFile(env.root() + "/blocker", "");
    setenv("XDG_DATA_HOME", (env.root() + "/blocker/data").c_str(), 1);
    EXPECT_EQ(failureOf<std::runtime_error>(identityFilePath), "Falha ao carregar diretorio AppData\\Local");

    // A plain file where the "Orvane" folder should be: "already exists" is
    // no failure here, whatever exists; opening the file inside fails later.
    setenv("XDG_DATA_HOME", env.root().c_str(), 1);
    orvane::test::writeFile(env.root() + "/Orvane", "");
    EXPECT_EQ(proxyFilePath(), env.root() + "/Orvane/proxy.properties");
}

TEST(HostFacts, UnansweredQuestionsReadAsUnidentifiedAndNamesComeFromTheHost)
{
    DesktopInfo silent = hostFacts(SilentPlatform());
    const std::wstring unidentified = L"N\u00EF\u00BF\u00BDo identificado";
    EXPECT_EQ((std::vector<std::wstring>{unidentified, unidentified, unidentified, L"Debian GNU/Linux 12 (bookworm)"}),
              (std::vector<std::wstring>{silent.installationName, silent.userName, silent.domainName,
                                         silent.operatingSystem}));

    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    const std::string shortName = std::string(host).substr(0, std::string(host).find('.'));
    EXPECT_EQ(hostFacts().installationName, std::wstring(shortName.begin(), shortName.end()));

    // The system's name is os-release's pretty name, else its name.
    orvane::test::TempDir dir;
    orvane::test::writeFile(dir.file("a"), "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
    orvane::test::writeFile(dir.file("b"), "ID=x\nNAME='Plain'\n");
    EXPECT_EQ(LinuxHostPlatform::osReleaseName(dir.file("a")), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(LinuxHostPlatform::osReleaseName(dir.file("b")), "Plain");
    EXPECT_EQ(LinuxHostPlatform::osReleaseName(dir.file("missing")), "");
}

TEST(ServiceUrls, KestrelBaseJoinsUrlBaseNameAndDesktopAndHarrierHostLosesTheScheme)
{
    EXPECT_EQ(kestrel("brantis.url = https://host/\n"), L"https://host/TolvaneServices/desktop");
    EXPECT_EQ(kestrel("brantis.url = https://host\nbrantis.base.name = services/\n"),
              L"https://host/services/desktop");
    EXPECT_EQ(kestrel("brantis.url = http://h:8080//\nbrantis.base.name = /a/b//\n"),
              L"http://h:8080//a/b//desktop");  // only one slash is dropped at each end
    EXPECT_EQ(kestrel("brantis.url = http://h\nbrantis.base.name =\n"), L"http://h/TolvaneServices/desktop");
    EXPECT_EQ(kestrel("brantis.base.name = /x\n"), L"");
    EXPECT_EQ(kestrel(""), L"");
    // Harrier's host loses one character more than the scheme.
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
    fs::create_directories(env.commonDataFolder() + "/Orvane");
    EXPECT_EQ(kestrelBaseUrl(), L"");
    orvane::test::writeFile(configFilePath(), "brantis.url = http://first\n");
    EXPECT_EQ(kestrelBaseUrl(), L"http://first/TolvaneServices/desktop");
    orvane::test::writeFile(configFilePath(), "brantis.url = http://second\n");
    EXPECT_EQ(kestrelBaseUrl(), L"http://first/TolvaneServices/desktop");
}
