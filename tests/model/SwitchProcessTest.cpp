// The maintenance switches and the save path exercised as real processes,
// each in throw-away folders of its own.
#include "model/identity/IdentityDocument.h"
#include "model/identity/Orvane.h"
#include "config/ApplicationPaths.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/model/IdentityFixtures.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <set>
#include <regex>
#include <thread>

namespace fs = std::filesystem;
using namespace orvane::model;
using namespace orvane::test;

namespace {

const std::string kOrvane = std::string(ORVANE_BINARY_DIR) + "/app/orvane";
const std::string kSaveLoop = std::string(ORVANE_BINARY_DIR) + "/tests/model/model_save_loop";
const std::string kWalletKeyId = "<KeyID>" + std::string(40, '7') + "</KeyID>";

// A fresh HOME and XDG folders for the test and every child it starts, with
// a configuration naming the test's service addresses.
class Switches : public testing::Test {
protected:
    void SetUp() override
    {
        if (!fs::exists(kOrvane))
            GTEST_SKIP() << "the orvane executable is not built: " << kOrvane;
        orvane::test::writeServiceConfiguration();
    }

    orvane::test::ProcessResult orvane(const std::string& argument)
    {
        return runProcess({kOrvane, argument}, {}, {{"QT_QPA_PLATFORM", "offscreen"}}, 60);
    }

    // The sample identity with the active Kestrel installation at
    // `kestrelUrl`, no KeyID for any device key, and `walletKeyId` in place
    // of every wallet key's KeyID element.
    std::string identity(const std::wstring& kestrelUrl, const std::string& walletKeyId)
    {
        auto sample = orvane::test::sampleIdentity();
        sample->kestrelInstallations[1].targetUrl = kestrelUrl;
        const std::string text = sample->documentText();
        const auto harrier = text.find("<HarrierInstallations>");
        const std::regex keyId("<KeyID>[0-9a-f]{40}</KeyID>");
        return std::regex_replace(text.substr(0, harrier), keyId, "")
            + std::regex_replace(text.substr(harrier), keyId, walletKeyId);
    }

    TempEnvironment folders;
};

std::vector<std::string> keyIds(const std::string& text)
{
    std::vector<std::string> ids;
    const std::regex keyId("<KeyID>([^<]*)</KeyID>");
    for (std::sregex_iterator it(text.begin(), text.end(), keyId), end; it != end; ++it)
        ids.push_back((*it)[1]);
    return ids;
}

} // namespace

TEST_F(Switches, ClearCacheMarksRepairsDeviceKeysAndForgetsTheMarks)
{
    const std::string file = identityFilePath();
    writeFile(file, identity(orvane::test::kActiveKestrelUrl, kWalletKeyId));

    const auto first = orvane("/r");
    EXPECT_EQ(first.exitCode, 0) << first.err;
    const std::string repaired = readFile(file);
    const auto ids = keyIds(repaired);
    ASSERT_EQ(ids.size(), 7u) << repaired;   // 4 device keys (all repaired), then 3 wallet keys
    for (const std::string& id : ids)
        EXPECT_TRUE(std::regex_match(id, std::regex("[0-9a-f]{40}"))) << id;
    // Made-up identifiers are not zeros and not shared; the wallet's stay.
    const std::set<std::string> made(ids.begin(), ids.begin() + 4);
    EXPECT_EQ(made.size(), 4u);
    EXPECT_EQ(made.count(std::string(40, '0')), 0u);
    EXPECT_EQ(std::vector<std::string>(ids.begin() + 4, ids.end()),
              std::vector<std::string>(3, std::string(40, '7')));
    // Only the active installation's marks are forgotten; its catalogue stays.
    EXPECT_NE(repaired.find("<Hierarchies LastModified=\"\" Expires=\"0\">"), std::string::npos);
    EXPECT_NE(repaired.find("<Devices LastModified=\"\">"), std::string::npos);
    EXPECT_EQ(repaired.find("Wed, 03 Jan 2024"), std::string::npos);   // the active wallet's mark
    EXPECT_NE(repaired.find("LastModified=\"Mon, 01 Jan 2024 00:00:00 GMT\" Expires=\"1704067200\""),
              std::string::npos);
    EXPECT_NE(repaired.find("<DisplayName>Pessoa F\xc3\xadsica</DisplayName>"), std::string::npos);

    // A second run finds nothing to repair and writes the same bytes.
    const auto second = orvane("/r");
    EXPECT_EQ(second.exitCode, 0) << second.err;
    EXPECT_EQ(readFile(file), repaired);
}

TEST_F(Switches, ClearCacheMarksLeavesTheFileWhenItMustNotOrCannotRepair)
{
    // A wallet key without KeyID ends the process; another address, or no
    // file at all, is nothing to do.
    const std::string file = identityFilePath();
    const std::string broken = identity(orvane::test::kActiveKestrelUrl, "");
    const std::string elsewhere = identity(orvane::test::kOtherKestrelUrl, kWalletKeyId);
    writeFile(file, broken);
    const auto result = orvane("/r");
    EXPECT_NE(result.exitCode, 0);
    EXPECT_NE(result.err.find("Key Reference node está com dados incompletos"), std::string::npos) << result.err;
    EXPECT_EQ(readFile(file), broken);

    writeFile(file, elsewhere);
    EXPECT_EQ(orvane("/r").exitCode, 0);
    EXPECT_EQ(readFile(file), elsewhere);

    fs::remove(file);
    EXPECT_EQ(orvane("/r").exitCode, 0);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(Switches, MigrationOfTheOldLayoutRunsOnce)
{
    // Without a usable old identity there is nothing to migrate.
    writeFile(legacyIdentityFilePath(), "<Installation><GUID>x</GUID>");   // does not parse
    writeFile(proxyFilePath(), "proxy.mode = 1\n");
    EXPECT_EQ(orvane("/m").exitCode, 0);
    EXPECT_FALSE(fs::exists(identityFilePath()));
    EXPECT_EQ(readFile(proxyFilePath()), "proxy.mode = 1\n");

    const std::string certificate = orvane::test::testCertificateBase64(orvane::test::kAdemir);
    std::string devices;
    for (const char* name : {"A", "B", "C"})
        devices += std::string("<Device><Hash>H-") + name + "</Hash><FantasyName>F" + name + "</FantasyName><LocalName>"
                 + name + "</LocalName><KeyReferences><KeyReference><KeyName>k" + name
                 + "</KeyName><FriendlyName>f</FriendlyName><Certificate>" + certificate
                 + "</Certificate></KeyReference></KeyReferences></Device>";
    writeFile(legacyIdentityFilePath(),
              "<?xml version=\"1.0\"?>\n<Installation><GUID>3f2a-old-guid</GUID><InstallationCode>OLD-CODE"
              "</InstallationCode><Hierarchies LastModified=\"x\" Expires=\"5\"/><Devices LastModified=\"d\">"
              + devices + "</Devices></Installation>\n");
    writeFile(legacyProxyFilePath(), "proxy.mode = 3\nproxy.address.http = old-proxy:8080\n");
    writeFile(proxyFilePath(), "proxy.mode = 1\n");
    fs::create_directories(fs::path(legacyConfigFilePath()).parent_path());
    writeFile(legacyConfigFilePath(), "# antigo\nbrantis.base.name = /Legacy\nold.only = 1\n");
    const std::string configBefore = readFile(configFilePath());
    // The installer's configuration is read by every user of the computer.
    fs::permissions(configFilePath(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read
                                          | fs::perms::others_read);

    const auto first = orvane("/m");
    ASSERT_EQ(first.exitCode, 0) << first.err;
    const std::string migrated = readFile(identityFilePath());
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(migrated.c_str())) << migrated;
    const pugi::xml_node root = document.child("Orvane");
    EXPECT_STREQ(root.child("PrivateKeyReference").text().get(), "3f2a-old-guid");
    EXPECT_FALSE(root.child("DesktopInfo").child("OperatingSystem").text().empty());   // this host's facts
    const pugi::xml_node installation = root.child("KestrelInstallations").child("KestrelInstallation");
    // The address is worked out after the old configuration was merged in,
    // so the old path prefix is already in force.
    EXPECT_STREQ(installation.attribute("TargetUrl").value(), "https://kestrel.test/Legacy/desktop");
    EXPECT_FALSE(installation.child("GUID"));
    EXPECT_STREQ(installation.child("InstallationCode").text().get(), "OLD-CODE");
    std::vector<std::string> names;
    for (const pugi::xml_node& device : installation.child("Devices").children("Device")) {
        names.push_back(device.child("LocalName").text().get());
        EXPECT_STREQ(device.last_child().name(), "LocalName");
    }
    EXPECT_EQ(names, (std::vector<std::string>{"kestrel no A", "kestrel no B", "kestrel no C"}));
    EXPECT_TRUE(root.child("HarrierInstallations"));
    EXPECT_EQ(readFile(proxyFilePath()), "proxy.mode = 3\nproxy.address.http = old-proxy:8080\n");
    EXPECT_EQ(fs::status(proxyFilePath()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(readFile(configFilePath()), configBefore + "brantis.base.name = /Legacy\nold.only = 1\n");
    EXPECT_EQ(fs::status(configFilePath()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read | fs::perms::others_read);

    // Again: the new identity exists now, so nothing happens.
    const auto second = orvane("/m");
    EXPECT_EQ(second.exitCode, 0) << second.err;
    EXPECT_EQ(readFile(identityFilePath()), migrated);
    EXPECT_EQ(readFile(proxyFilePath()), "proxy.mode = 3\nproxy.address.http = old-proxy:8080\n");

    // The migrated keys have no KeyID yet: the next load gives them one.
    EXPECT_EQ(orvane("/r").exitCode, 0);
    EXPECT_EQ(keyIds(readFile(identityFilePath())).size(), 3u);
}

// A saver killed at random moments never leaves a torn file: every time the
// file parses and is one of the whole documents that were being written.
TEST(SaveCrash, KilledSaverLeavesAWholeDocument)
{
    TempEnvironment folders;
    const std::string file = identityFilePath();
    auto sample = orvane::test::sampleIdentity();
    sample->desktopInfo.installationName = L"INITIAL";
    sample->save();
    const std::string initial = readFile(file);
    std::set<std::string> whole = {initial};
    for (const wchar_t* name : {L"SAVE-A", L"SAVE-B"}) {
        sample->desktopInfo.installationName = name;
        whole.insert(sample->documentText());
    }
    std::mt19937 random(20240601u);
    std::uniform_int_distribution<int> delayMicroseconds(0, 4000);
    for (int round = 0; round < 200; ++round) {
        writeFile(file, initial);
        orvane::test::BackgroundProcess saver({kSaveLoop});
        // Kill at a random moment of the saving, not of the start-up: wait
        // for the first save to land, then for a random part of a few saves.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (readFile(file).find("SAVE-") == std::string::npos) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the saver never saved";
            ASSERT_TRUE(saver.running()) << "the saver ended early";
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(delayMicroseconds(random)));
        saver.kill(SIGKILL);
        EXPECT_EQ(saver.wait(), -1);

        ASSERT_EQ(whole.count(readFile(file)), 1u) << "round " << round << ": not a whole document";
        // Unfinished temporary files of a killed saver stay behind (they
        // never take the file's name); clear them between rounds.
        for (const auto& entry : fs::directory_iterator(fs::path(file).parent_path()))
            if (entry.path().filename().string().rfind("identity.xml.tmp-", 0) == 0)
                fs::remove(entry.path());
    }
}
