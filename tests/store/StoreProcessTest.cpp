// orvanectl's store and key commands, and the uninstaller's "/u", as real
// processes over the default stores of a throw-away user.
#include "model/identity/Orvane.h"
#include "config/ApplicationPaths.h"
#include "signer/NarrowConverter.h"
#include "signer/Publication.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/model/IdentityFixtures.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

using namespace valmora::signer;
using orvane::test::runProcess;
using orvane::test::TempEnvironment;
using orvane::test::TempKeyStore;
using orvane::test::store::makeEndEntity;

namespace {

const std::string orvanectl = std::string(ORVANE_BINARY_DIR) + "/app/ctl/orvanectl";
const std::string orvaneBinary = std::string(ORVANE_BINARY_DIR) + "/app/orvane";

std::shared_ptr<DirectoryCertificateStore> currentStores() { return DirectoryCertificateStore::forCurrentUser(); }

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::size_t start = 0, end = 0;
    while ((end = text.find('\n', start)) != std::string::npos) {
        result.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return result;
}

} // namespace

TEST(StoreCommandsTest, ListShowsEachEntryWithItsLinkAndRemoveTakesItOut)
{
    TempEnvironment environment;
    const auto stores = currentStores();
    const Certificate linked = makeEndEntity("Linked Person", 1);
    const Certificate plain = makeEndEntity("Plain Person", 2);
    stores->put("MY", StoreEntry{linked, KeyProviderInfo{L"remote-7", orvaneProviderName, 24, 0, 2}, std::nullopt});
    stores->put("MY", StoreEntry{plain, std::nullopt, std::nullopt});
    stores->put("CA", StoreEntry{plain, std::nullopt, std::nullopt});

    const auto listed = runProcess({orvanectl, "store", "list"});
    ASSERT_EQ(0, listed.exitCode) << listed.err;
    const std::vector<std::string> rows = lines(listed.out);
    ASSERT_EQ(2u, rows.size());
    const std::string linkedRow = linked.fingerprint() + "\tLinked Person\t" + linked.validity().notAfterDate()
                                  + "\tOrvane Cryptographic Provider\tremote-7";
    const std::string plainRow = plain.fingerprint() + "\tPlain Person\t" + plain.validity().notAfterDate() + "\tnone";
    EXPECT_TRUE((rows == std::vector<std::string>{linkedRow, plainRow} || rows == std::vector<std::string>{plainRow, linkedRow}))
        << listed.out;

    const auto json = runProcess({orvanectl, "store", "list", "--json", "CA"});
    ASSERT_EQ(0, json.exitCode) << json.err;
    EXPECT_EQ("{\"fingerprint\":\"" + plain.fingerprint() + "\",\"link\":null,\"notAfter\":\""
                  + plain.validity().notAfterDate() + "\",\"subject\":\"Plain Person\"}\n",
              json.out);

    EXPECT_EQ(2, runProcess({orvanectl, "store", "list", "Personal"}).exitCode);

    // Colons and capitals are accepted; the first store in order loses it.
    std::string colons;
    for (char c : plain.fingerprint())
        colons += c == ' ' ? ':' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const auto removed = runProcess({orvanectl, "store", "remove", colons});
    ASSERT_EQ(0, removed.exitCode) << removed.err;
    EXPECT_FALSE(stores->find("MY", plain.fingerprint()));
    EXPECT_TRUE(stores->find("CA", plain.fingerprint()));
    EXPECT_EQ(0, runProcess({orvanectl, "store", "remove", plain.fingerprint()}).exitCode);
    const auto gone = runProcess({orvanectl, "store", "remove", plain.fingerprint()});
    EXPECT_EQ(1, gone.exitCode);
    EXPECT_NE(std::string::npos, gone.err.find("Certificate not found")) << gone.err;
    EXPECT_EQ(2, runProcess({orvanectl, "store", "remove", "12 34"}).exitCode);
}

TEST(KeyCommandsTest, ShowPrintsTheIdentitysKeyNameItsPresenceAndPublicKey)
{
    TempEnvironment environment;
    orvane::test::writeServiceConfiguration();
    EXPECT_EQ(1, runProcess({orvanectl, "key", "show"}).exitCode) << "no identity yet";

    auto identity = orvane::test::sampleIdentity();
    identity->privateKeyReference = TempKeyStore::newKeyName();
    identity->save();
    const auto missing = runProcess({orvanectl, "key", "show"});
    EXPECT_EQ(1, missing.exitCode);
    EXPECT_EQ("key name: " + narrowConverter.to_bytes(identity->privateKeyReference) + "\nin key store: no\n",
              missing.out);

    std::string pem;
    {
        // The agent's key, in the default key store of this user.
        SystemRepository repository;
        pem = repository.createNamedKey(identity->privateKeyReference, 2048).toPem();
    }
    const auto shown = runProcess({orvanectl, "key", "show"});
    ASSERT_EQ(0, shown.exitCode) << shown.err;
    EXPECT_EQ("key name: " + narrowConverter.to_bytes(identity->privateKeyReference) + "\nin key store: yes\n" + pem,
              shown.out);
}

TEST(UnpublishSwitchTest, RemovesTheCertificatesOfTheActiveIdentityAndNothingElse)
{
    if (!std::filesystem::exists(orvaneBinary))
        GTEST_SKIP() << "the orvane executable is not built: " << orvaneBinary;
    TempEnvironment environment;
    orvane::test::writeServiceConfiguration();
    auto identity = orvane::test::sampleIdentity();
    identity->save();
    ASSERT_TRUE(orvane::model::Orvane::hasInstallation());

    std::vector<PublishedKey> keys;
    std::set<std::string> fingerprints;
    for (const orvane::model::KeyReference* reference : identity->certificates())
        if (reference->certificate && fingerprints.insert(reference->certificate->fingerprint()).second)
            keys.push_back({*reference->certificate, reference->keyName, reference->friendlyName});
    ASSERT_FALSE(keys.empty());
    publishCertificates(keys);
    const auto stores = currentStores();
    const Certificate bystander = makeEndEntity("Bystander");
    stores->put("MY", StoreEntry{bystander, KeyProviderInfo{L"x", L"Another Provider", 24, 0, 2}, std::nullopt});
    // One of them also among the authorities of another program: the first
    // store in order loses it.
    stores->put("AddressBook", StoreEntry{keys.front().certificate, std::nullopt, std::nullopt});

    const auto result = runProcess({orvaneBinary, "/u"}, {}, {{"QT_QPA_PLATFORM", "offscreen"}}, 60);
    ASSERT_EQ(0, result.exitCode) << result.err;
    for (const PublishedKey& key : keys)
        EXPECT_FALSE(stores->find("MY", key.certificate.fingerprint())) << narrowConverter.to_bytes(key.keyName);
    EXPECT_TRUE(stores->find("MY", bystander.fingerprint()));
    EXPECT_TRUE(stores->find("AddressBook", keys.front().certificate.fingerprint()));
}

TEST(UnpublishSwitchTest, DoesNothingWithoutAnInstallation)
{
    if (!std::filesystem::exists(orvaneBinary))
        GTEST_SKIP() << "the orvane executable is not built: " << orvaneBinary;
    TempEnvironment environment;
    orvane::test::writeServiceConfiguration();
    const auto stores = currentStores();
    const Certificate kept = makeEndEntity("Kept");
    stores->put("MY", StoreEntry{kept, KeyProviderInfo{L"k", orvaneProviderName, 24, 0, 2}, std::nullopt});
    const auto result = runProcess({orvaneBinary, "/u"}, {}, {{"QT_QPA_PLATFORM", "offscreen"}}, 60);
    EXPECT_EQ(0, result.exitCode) << result.err;
    EXPECT_TRUE(stores->find("MY", kept.fingerprint()));
}
