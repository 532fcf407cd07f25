// Searches, walks, chains, keys of certificates and additions of the system
// repository over folder stores.
#include "signer/Exceptions.h"
#include "signer/SystemRepository.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "tests/mock/TempDir.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/signer/SignerTestSupport.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace valmora::signer;
using orvane::test::TempKeyStore;
using orvane::test::signer::failureOf;
using orvane::test::store::CountingStore;
using orvane::test::store::makeChain;
using orvane::test::store::makeEndEntity;
using orvane::test::store::SmallChain;

namespace {

StoreEntry bare(const Certificate& certificate) { return StoreEntry{certificate, std::nullopt, std::nullopt}; }

class SystemRepositoryTest : public testing::Test {
protected:
    TempKeyStore token;
    std::shared_ptr<DirectoryCertificateStore> folders =
        std::make_shared<DirectoryCertificateStore>(token.certificateStoreFolder());
    SystemRepository repository{token.keyStore(), folders};
};

} // namespace

TEST_F(SystemRepositoryTest, FindByFingerprintWalksTheStoresInOrderAndCachesTheLastHit)
{
    const Certificate onlyInAddressBook = makeEndEntity("Address", 1);
    const Certificate inTwo = makeEndEntity("Two", 2);
    folders->put("AddressBook", bare(onlyInAddressBook));
    folders->put("AddressBook", StoreEntry{inTwo, std::nullopt, std::wstring(L"address book")});
    folders->put("MY", StoreEntry{inTwo, std::nullopt, std::wstring(L"personal")});

    auto counting = std::make_shared<CountingStore>(folders);
    SystemRepository counted(token.keyStore(), counting);
    EXPECT_EQ(onlyInAddressBook, counted.findByFingerprint(onlyInAddressBook.fingerprint()));
    EXPECT_EQ(2, counting->finds) << "MY, then AddressBook";
    EXPECT_EQ(onlyInAddressBook, counted.findByFingerprint(onlyInAddressBook.fingerprint()));
    EXPECT_EQ(2, counting->finds) << "the second search opens no store";
    EXPECT_EQ(onlyInAddressBook, counted.clone()->findByFingerprint(onlyInAddressBook.fingerprint()));
    EXPECT_EQ(2, counting->finds) << "a clone shares the search state";

    // The first store in order decides: the link-less MY entry is the one
    // whose key is asked for.
    EXPECT_EQ("The certificate has no link to a key provider (CryptAcquireCertificatePrivateKey)",
              failureOf<CapiException>([&] { counted.privateKeyOf(inTwo); }));
    EXPECT_EQ(3, counting->finds);

    const Certificate nowhere = makeEndEntity("Nowhere", 3);
    EXPECT_EQ("Certificate not found: Fingerprint: " + nowhere.fingerprint(),
              failureOf<CertificateNotFoundException>([&] { counted.findByFingerprint(nowhere.fingerprint()); }));
    EXPECT_EQ(7, counting->finds) << "a miss asks all four stores";
}

TEST_F(SystemRepositoryTest, VisitWithAllCaCategoriesSeesARootOfCaAndRootOnceAndStopEndsTheWalk)
{
    const SmallChain chain = makeChain("visit");
    folders->put("CA", bare(chain.root));
    folders->put("ROOT", bare(chain.root));
    folders->put("CA", bare(chain.intermediate));
    folders->put("MY", bare(chain.leaf));

    auto visit = [&](RepositoryFilter filter) {
        std::vector<Certificate> seen;
        repository.visitCertificates(filter, [&](const Certificate& certificate) {
            seen.push_back(certificate);
            return Then::Continue;
        });
        return seen;
    };
    const std::vector<Certificate> authorities = visit(AnyCaFilter);
    EXPECT_EQ(2u, authorities.size());
    EXPECT_EQ(1, std::count(authorities.begin(), authorities.end(), chain.root));
    EXPECT_EQ(1, std::count(authorities.begin(), authorities.end(), chain.intermediate));
    const std::vector<Certificate> all = visit(AllFilter);
    EXPECT_EQ(3u, all.size());
    EXPECT_EQ(chain.leaf, all.front()) << "MY comes first";

    int visits = 0;
    repository.visitCertificates(AllFilter, [&](const Certificate&) {
        ++visits;
        return Then::Stop;
    });
    EXPECT_EQ(1, visits);
}

TEST_F(SystemRepositoryTest, ChainStatusesOverTheStores)
{
    const SmallChain chain = makeChain("chain");
    folders->put("MY", bare(chain.leaf));
    folders->put("CA", bare(chain.intermediate));

    CertificateChain partial = repository.buildChain(chain.leaf);
    EXPECT_EQ(ChainPartial, partial.status);
    EXPECT_EQ(2u, partial.certificates.size());

    // Its root among the authorities but not trusted.
    folders->put("CA", bare(chain.root));
    EXPECT_EQ(ChainOtherError, repository.buildChain(chain.leaf).status);

    folders->put("ROOT", bare(chain.root));
    const CertificateChain complete = repository.buildChain(chain.leaf);
    EXPECT_EQ(ChainComplete, complete.status);
    ASSERT_EQ(3u, complete.certificates.size());
    EXPECT_EQ(chain.leaf, complete.certificates[0]);
    EXPECT_EQ(chain.intermediate, complete.certificates[1]);
    EXPECT_EQ(chain.root, complete.certificates[2]);

    const SmallChain expired = makeChain("expired", true);
    folders->put("MY", bare(expired.leaf));
    folders->put("CA", bare(expired.intermediate));
    folders->put("ROOT", bare(expired.root));
    EXPECT_EQ(ChainNotTimeValid, repository.buildChain(expired.leaf).status);

    // Expired and partial at once: no single status fits.
    const SmallChain both = makeChain("both", true);
    folders->put("MY", bare(both.leaf));
    EXPECT_EQ(ChainOtherError, repository.buildChain(both.leaf).status);
}

TEST_F(SystemRepositoryTest, AddCertificateChoosesTheStoreAndAnExistingOneAnswersFalse)
{
    const SmallChain chain = makeChain("add");
    EXPECT_TRUE(repository.addCertificate(chain.intermediate));
    EXPECT_FALSE(repository.addCertificate(chain.intermediate)) << "no failure, but false";
    EXPECT_TRUE(repository.addCertificate(chain.root));
    EXPECT_TRUE(repository.addCertificate(chain.leaf)) << "no pending key: an end entity of somebody else";
    EXPECT_TRUE(folders->find("CA", chain.intermediate.fingerprint()));
    EXPECT_TRUE(folders->find("ROOT", chain.root.fingerprint()));
    EXPECT_TRUE(folders->find("AddressBook", chain.leaf.fingerprint()));
    EXPECT_FALSE(folders->find("MY", chain.leaf.fingerprint()));
}

TEST_F(SystemRepositoryTest, KeyOfACertificateLinkedToTheRemoteProviderIsOutOfReach)
{
    const Certificate remote = makeEndEntity("Remote");
    repository.bindToProvider(remote, ProviderLink{orvaneProviderName, L"remote-key"});
    EXPECT_NE(std::string::npos, failureOf<CapiException>([&] { repository.privateKeyOf(remote); })
                                     .find("\"Orvane Cryptographic Provider\""));
    EXPECT_THROW(repository.signWithCertificate({1, 2}, remote, "SHA256"), SignatureException);
}

TEST_F(SystemRepositoryTest, RemovalDuringAWalkWaitsForItsEndAndALongLivedObjectRepeatsIt)
{
    const Certificate first = makeEndEntity("First", 1);
    const Certificate second = makeEndEntity("Second", 2);
    repository.bindToProvider(first, ProviderLink{orvaneProviderName, L"a"});
    repository.bindToProvider(second, ProviderLink{orvaneProviderName, L"b"});
    // Entries without a link, or linked to another provider, are passed over.
    folders->put("MY", bare(makeEndEntity("Unlinked", 3)));
    repository.bindToProvider(makeEndEntity("Other provider", 4), ProviderLink{L"Some Other Provider", L"x"});

    std::vector<Certificate> walked;
    repository.certificatesOfProvider(orvaneProviderName, [&](const Certificate& certificate) {
        walked.push_back(certificate);
        repository.removeCertificate(certificate);
        EXPECT_TRUE(folders->find("MY", certificate.fingerprint())) << "still there during the walk";
    });
    EXPECT_EQ(2u, walked.size());
    EXPECT_FALSE(folders->find("MY", first.fingerprint())) << "gone when the walk ends";
    EXPECT_FALSE(folders->find("MY", second.fingerprint())) << "gone when the walk ends";

    // The list of put-off removals stays with the object.
    folders->put("MY", bare(first));
    repository.visitCertificates(AllFilter, [](const Certificate&) { return Then::Continue; });
    EXPECT_FALSE(folders->find("MY", first.fingerprint())) << "the next walk of this object removes it again";

    // A removal outside any walk is at once; a certificate in no store fails.
    folders->put("CA", bare(second));
    repository.removeCertificate(second);
    EXPECT_FALSE(folders->find("CA", second.fingerprint()));
    EXPECT_THROW(repository.removeCertificate(second), CertificateNotFoundException);
}

// A text that is no fingerprint finds nothing, in the family's terms; a "MY"
// that cannot be opened says so under the opening call.
TEST_F(SystemRepositoryTest, MalformedFingerprintIsNotFoundAndAnUnopenableStoreNamesTheOpening)
{
    EXPECT_EQ("Certificate not found: Fingerprint: zz 11",
              failureOf<CertificateNotFoundException>([&] { repository.findByFingerprint("zz 11"); }));

    std::filesystem::create_directories(token.certificateStoreFolder());
    orvane::test::writeFile(token.certificateStoreFolder() + "/MY", "not a folder");
    EXPECT_NE(std::string::npos, failureOf<CertificateSearchingException>([&] {
                                     repository.certificatesOfProvider(orvaneProviderName, [](const Certificate&) {});
                                 }).find(" (CertOpenSystemStore)"));
}
