#include "model/identity/ActiveInstallationNotFound.h"
#include "model/identity/Orvane.h"
#include "tests/mock/TempDir.h"
#include "tests/model/IdentityFixtures.h"

#include <gtest/gtest.h>

using namespace orvane::model;
using orvane::test::identityFile;
using orvane::test::readFile;
using orvane::test::sampleIdentity;

namespace {

class Aggregate : public testing::Test {
protected:
    void SetUp() override { orvane::test::removeIdentityFile(); }
    void TearDown() override { orvane::test::removeIdentityFile(); }
};

} // namespace

TEST_F(Aggregate, ActiveInstallationsFollowTheConfiguredAddresses)
{
    auto identity = sampleIdentity();
    EXPECT_EQ(identity->kestrelInstallation().installationCode, L"INST-ACTIVE");
    EXPECT_EQ(identity->availableVersion().versionString, L"2.2.0 <beta> & \"rc\"");

    const auto harrier = identity->harrierInstallations();
    ASSERT_EQ(harrier.size(), 1u);
    EXPECT_EQ(harrier[0]->userName, L"Ana");

    // Phones of the active Kestrel installation first, then the active wallet.
    std::vector<std::wstring> names;
    for (KeyReference* reference : identity->certificates())
        names.push_back(reference->keyName);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"key-1", L"key <2> & co", L"", L"0a 1b;CN=AC SyngularID Multipla",
                                                L"0c;CN=AC Certisign"}));
    for (KeyReference* reference : identity->certificates())
        EXPECT_EQ(reference->owner, identity.get());
}

TEST_F(Aggregate, WithoutAnActiveKestrelInstallation)
{
    auto identity = sampleIdentity();
    identity->kestrelInstallations.pop_back();
    try {
        identity->kestrelInstallation();
        FAIL();
    } catch (const ActiveInstallationNotFound& e) {
        EXPECT_STREQ(e.what(), "Não foi encontrada a instalação para kestrel");
    }
    EXPECT_THROW(identity->availableVersion(), ActiveInstallationNotFound);
    // The wallets still count.
    EXPECT_EQ(identity->certificates().size(), 2u);

    identity->save();
    const std::string before = readFile(identityFile());
    try {
        identity->clearCacheMarks();
        FAIL();
    } catch (const BaseException& e) {
        EXPECT_STREQ(e.what(), "Não foi encontrada a instalação para kestrel");
    }
    EXPECT_EQ(readFile(identityFile()), before);
}

TEST_F(Aggregate, ClearCacheMarksForgetsOnlyTheActiveMarksAndSaves)
{
    sampleIdentity()->save();
    auto identity = Orvane::load();
    identity->clearCacheMarks();

    const auto reread = Orvane::load();
    const KestrelInstallation& active = reread->kestrelInstallations[1];
    EXPECT_EQ(active.hierarchies.expires, 0);
    EXPECT_TRUE(active.hierarchies.lastModified.empty());
    EXPECT_TRUE(active.devices.lastModified.empty());
    EXPECT_EQ(active.hierarchies.hierarchies.size(), 2u);   // the catalogue itself stays
    const KestrelInstallation& other = reread->kestrelInstallations[0];
    EXPECT_EQ(other.hierarchies.expires, 1704067200);
    EXPECT_EQ(other.hierarchies.lastModified, L"Mon, 01 Jan 2024 00:00:00 GMT");
    EXPECT_TRUE(reread->allHarrierInstallations[0]->wallet->lastModified.empty());
}

TEST_F(Aggregate, HasInstallationReadsTheFileEachTimeAndNeverWrites)
{
    EXPECT_FALSE(identityFileExists());
    EXPECT_FALSE(Orvane::hasInstallation());

    auto identity = sampleIdentity();
    identity->save();
    EXPECT_TRUE(Orvane::hasInstallation());

    // Only a Kestrel installation for another address, plus an active
    // Harrier one: that is no installation.
    identity->kestrelInstallations.pop_back();
    identity->save();
    EXPECT_FALSE(Orvane::hasInstallation());

    // A repair that the reader would want written is not written here.
    std::string text = readFile(identityFile());
    const auto keyId = text.find("<KeyID>");
    text.erase(keyId, text.find("</KeyID>") + 8 - keyId);
    identity->kestrelInstallations.clear();
    orvane::test::writeFile(identityFile(), text);
    EXPECT_FALSE(Orvane::hasInstallation());
    EXPECT_EQ(readFile(identityFile()), text);
}

TEST_F(Aggregate, ProxySettingsNeedNoAggregate)
{
    ProxySettings settings;
    settings.mode = L"1";
    settings.userName = L"proxy-user";
    Orvane::saveProxySettings(settings);
    EXPECT_EQ(Orvane::loadProxySettings(), settings);
}
