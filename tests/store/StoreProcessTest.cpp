// orvanectl's store and key commands, and the uninstaller's "/u", as real
// processes over the default stores of a throw-away user.
#include "model/identity/Orvane.h"
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

using namespace valmora::signer;
using orvane::test::runProcess;
using orvane::test::TempEnvironment;
using orvane::test::TempKeyStore;
using orvane::test::store::makeEndEntity;

namespace {

const std::string orvanectl = std::string(ORVANE_BINARY_DIR) + "/app/ctl/orvanectl";
const std::string orvaneBinary = std::string(ORVANE_BINARY_DIR) + "/app/orvane";

} // namespace

TEST(StoreCommandsTest, ListShowsEachEntryWithItsLinkAndRemoveTakesItOut)
{
    TempEnvironment environment;
    const auto stores = DirectoryCertificateStore::forCurrentUser();
    const Certificate linked = makeEndEntity("Linked Person", 1);
    const Certificate plain = makeEndEntity("Plain Person", 2);
    stores->put("MY", StoreEntry{linked, KeyProviderInfo{L"remote-7", orvaneProviderName, 24, 0, 2}, std::nullopt});
    stores->put("MY", StoreEntry{plain, std::nullopt, std::nullopt});
    stores->put("CA", StoreEntry{plain, std::nullopt, std::nullopt});

    const auto listed = runProcess({orvanectl, "store", "list"});
    ASSERT_EQ(0, listed.exitCode) << listed.err;
    const std::string linkedRow = linked.fingerprint() + "\tLinked Person\t" + linked.validity().notAfterDate()
                                  + "\tOrvane Cryptographic Provider\tremote-7\n";
    const std::string plainRow = plain.fingerprint() + "\tPlain Person\t" + plain.validity().notAfterDate() + "\tnone\n";
    EXPECT_TRUE(listed.out == linkedRow + plainRow || listed.out == plainRow + linkedRow) << listed.out;

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

// Which certificates "/u" takes out is the publication suite's business;
// here that the switch reaches those of the identity, and only once the
// identity makes an installation.
TEST(UnpublishSwitchTest, RemovesTheCertificatesOfTheActiveIdentityAndNothingElse)
{
    if (!std::filesystem::exists(orvaneBinary))
        GTEST_SKIP() << "the orvane executable is not built: " << orvaneBinary;
    TempEnvironment environment;
    orvane::test::writeServiceConfiguration();
    auto identity = orvane::test::sampleIdentity();
    std::vector<PublishedKey> keys;
    for (const orvane::model::KeyReference* reference : identity->certificates())
        if (reference->certificate)
            keys.push_back({*reference->certificate, reference->keyName, reference->friendlyName});
    ASSERT_FALSE(keys.empty());
    publishCertificates(keys);
    const auto stores = DirectoryCertificateStore::forCurrentUser();
    const Certificate bystander = makeEndEntity("Bystander");
    stores->put("MY", StoreEntry{bystander, KeyProviderInfo{L"k", orvaneProviderName, 24, 0, 2}, std::nullopt});
    const auto published = [&] {
        std::size_t count = 0;
        for (const PublishedKey& key : keys)
            count += stores->find("MY", key.certificate.fingerprint()).has_value();
        return count;
    };
    const auto unpublish = [] {
        const auto result = runProcess({orvaneBinary, "/u"}, {}, {{"QT_QPA_PLATFORM", "offscreen"}}, 60);
        EXPECT_EQ(0, result.exitCode) << result.err;
    };

    unpublish();
    EXPECT_EQ(keys.size(), published()) << "no installation, nothing to do";
    identity->save();
    ASSERT_TRUE(orvane::model::Orvane::hasInstallation());
    unpublish();
    EXPECT_EQ(0u, published());
    EXPECT_TRUE(stores->find("MY", bystander.fingerprint()));
}
