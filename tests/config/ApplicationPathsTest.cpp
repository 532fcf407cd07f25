#include "config/ApplicationPaths.h"

#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>

using namespace orvane::model;
namespace fs = std::filesystem;

namespace {

std::string failureOf(std::string (*path)())
{
    try {
        path();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no failure";
}

} // namespace

TEST(ApplicationPaths, FollowTheXdgFolders)
{
    orvane::test::TempEnvironment env;
    const std::string user = env.userDataFolder();
    const std::string common = env.commonDataFolder();

    EXPECT_EQ(configFilePath(), common + "/Orvane/applicationConfig-2.properties");
    EXPECT_EQ(legacyConfigFilePath(), common + "/Kestrel_Desktop/applicationConfig.properties");
    EXPECT_FALSE(fs::exists(common + "/Orvane"));  // the common folder is never created

    EXPECT_EQ(identityFilePath(), user + "/Orvane/identity.xml");
    EXPECT_EQ(proxyFilePath(), user + "/Orvane/proxy.properties");
    struct stat info {};
    ASSERT_EQ(stat((user + "/Orvane").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);

    // Merely asking for a legacy path creates the old folder.
    EXPECT_FALSE(fs::exists(user + "/Kestrel_Desktop"));
    EXPECT_EQ(legacyProxyFilePath(), user + "/Kestrel_Desktop/proxy.properties");
    EXPECT_TRUE(fs::is_directory(user + "/Kestrel_Desktop"));
    EXPECT_EQ(legacyIdentityFilePath(), user + "/Kestrel_Desktop/identity.xml");
}

TEST(ApplicationPaths, XdgFallbacks)
{
    orvane::test::TempEnvironment env;
    setenv("XDG_CONFIG_DIRS", "relative/ignored:" "/first:/second", 1);
    EXPECT_EQ(configFilePath(), "/first/Orvane/applicationConfig-2.properties");
    unsetenv("XDG_CONFIG_DIRS");
    EXPECT_EQ(configFilePath(), "/etc/xdg/Orvane/applicationConfig-2.properties");

    // Without XDG_DATA_HOME the data folder is under HOME, made when missing.
    unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(identityFilePath(), env.home() + "/.local/share/Orvane/identity.xml");
    setenv("XDG_DATA_HOME", "not/absolute", 1);
    EXPECT_EQ(proxyFilePath(), env.home() + "/.local/share/Orvane/proxy.properties");
}

TEST(ApplicationPaths, FailuresSayWhichFolder)
{
    orvane::test::TempEnvironment env;
    // A plain file where the user's data folder should be.
    orvane::test::writeFile(env.root() + "/blocker", "");
    setenv("XDG_DATA_HOME", (env.root() + "/blocker/data").c_str(), 1);
    EXPECT_EQ(failureOf(identityFilePath), "Falha ao carregar diretorio AppData\\Local");

    // A plain file where the "Orvane" folder should be: "already exists" is
    // no failure here, whatever exists; opening the file inside fails later.
    setenv("XDG_DATA_HOME", env.userDataFolder().c_str(), 1);
    orvane::test::writeFile(env.userDataFolder() + "/Orvane", "");
    EXPECT_EQ(failureOf(proxyFilePath), "no failure");
    EXPECT_EQ(proxyFilePath(), env.userDataFolder() + "/Orvane/proxy.properties");
}
