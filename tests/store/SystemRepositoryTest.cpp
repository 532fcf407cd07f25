// The system repository over folder stores: searches, walks, chains, keys
// of certificates and additions; publication of the remote keys'
// certificates into "MY" and their removal.
#include "signer/Exceptions.h"
#include "signer/Publication.h"
#include "signer/SystemRepository.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/signer/SignerTestSupport.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>


using namespace valmora::signer;
using orvane::test::TempKeyStore;
using orvane::test::signer::failureOf;
using orvane::test::store::linkOf;
using orvane::test::store::makeChain;
using orvane::test::store::makeEndEntity;
using orvane::test::store::SmallChain;

namespace {

StoreEntry bare(const Certificate& certificate) { return StoreEntry{certificate, std::nullopt, std::nullopt}; }

// Notes the walks and removals of the stores in the order they happen.
class RecordingStore : public DirectoryCertificateStore {
public:
    using DirectoryCertificateStore::DirectoryCertificateStore;
    void forEachEntry(const std::string& store, const EntryVisitor& visitor) override
    {
        events.push_back("walk " + store);
        DirectoryCertificateStore::forEachEntry(store, visitor);
        events.push_back("end " + store);
    }
    bool remove(const std::string& store, const std::string& fingerprint) override
    {
        events.push_back("remove " + fingerprint);
        return DirectoryCertificateStore::remove(store, fingerprint);
    }
    std::vector<std::string> events;
};

class SystemRepositoryTest : public testing::Test {
protected:
    std::size_t entries(const std::string& store = "MY")
    {
        std::size_t count = 0;
        folders->forEachEntry(store, [&](const StoreEntry&) {
            ++count;
            return Then::Continue;
        });
        return count;
    }
    void link(const Certificate& certificate, const std::wstring& provider, const std::wstring& container)
    {
        folders->put("MY", StoreEntry{certificate, KeyProviderInfo{container, provider, 24, 0, 2}, std::nullopt});
    }

    TempKeyStore token;
    std::shared_ptr<RecordingStore> folders = std::make_shared<RecordingStore>(token.certificateStoreFolder());
    SystemRepository repository{token.keyStore(), folders};
};

} // namespace

TEST_F(SystemRepositoryTest, FindByFingerprintTakesTheFirstStoreInOrderAndAMissBecomesTheFailureOfTheCaller)
{
    const Certificate onlyInAddressBook = makeEndEntity("Address", 1);
    const Certificate inTwo = makeEndEntity("Two", 2);
    folders->put("AddressBook", bare(onlyInAddressBook));
    folders->put("AddressBook", StoreEntry{inTwo, std::nullopt, std::wstring(L"address book")});
    folders->put("MY", StoreEntry{inTwo, std::nullopt, std::wstring(L"personal")});
    EXPECT_EQ(onlyInAddressBook, repository.findByFingerprint(onlyInAddressBook.fingerprint()));
    EXPECT_EQ(onlyInAddressBook, repository.clone()->findByFingerprint(onlyInAddressBook.fingerprint()));
    // The first store in order decides: the link-less MY entry is the one
    // whose key is asked for.
    EXPECT_EQ("The certificate has no link to a key provider (CryptAcquireCertificatePrivateKey)",
              failureOf<CapiException>([&] { repository.privateKeyOf(inTwo); }));

    const Certificate nowhere = makeEndEntity("Nowhere", 3);
    const std::string notFound = "Certificate not found: Fingerprint: " + nowhere.fingerprint();
    for (const std::string& fingerprint : {nowhere.fingerprint(), std::string("zz 11")})
        EXPECT_EQ("Certificate not found: Fingerprint: " + fingerprint,
                  failureOf<CertificateNotFoundException>([&] { repository.findByFingerprint(fingerprint); }));
    // Where the key of a certificate is looked for, that failure becomes one of signing or decrypting.
    EXPECT_EQ("Error at signing: " + notFound,
              failureOf<SignatureException>([&] { repository.signWithCertificate({1, 2, 3}, nowhere, "SHA256"); }));
    EXPECT_EQ("Error at signing: " + notFound, failureOf<SignatureException>([&] {
                  repository.signDigestWithCertificate(Bytes(32), nowhere, "SHA256");
              }));
    EXPECT_EQ("Error at decrypting: " + notFound,
              failureOf<DecryptionException>([&] { repository.decryptWithCertificate({1, 2, 3}, nowhere); }));
}

TEST_F(SystemRepositoryTest, AdditionsChooseTheStoreAndChainsAndVisitsGoOverTheStores)
{
    const SmallChain chain = makeChain("chain");
    EXPECT_TRUE(repository.addCertificate(chain.leaf)) << "no pending key: an end entity of somebody else";
    EXPECT_TRUE(repository.addCertificate(chain.intermediate));
    EXPECT_FALSE(repository.addCertificate(chain.intermediate)) << "no failure, but false";
    EXPECT_TRUE(folders->find("AddressBook", chain.leaf.fingerprint()));
    EXPECT_FALSE(folders->find("MY", chain.leaf.fingerprint()));
    EXPECT_TRUE(folders->find("CA", chain.intermediate.fingerprint()));

    const CertificateChain partial = repository.buildChain(chain.leaf);
    EXPECT_EQ(ChainPartial, partial.status);
    EXPECT_EQ(2u, partial.certificates.size());
    // Its root among the authorities but not trusted.
    folders->put("CA", bare(chain.root));
    EXPECT_EQ(ChainOtherError, repository.buildChain(chain.leaf).status);
    EXPECT_TRUE(repository.addCertificate(chain.root));
    EXPECT_TRUE(folders->find("ROOT", chain.root.fingerprint()));
    const CertificateChain complete = repository.buildChain(chain.leaf);
    EXPECT_EQ(ChainComplete, complete.status);
    EXPECT_EQ((std::vector<Certificate>{chain.leaf, chain.intermediate, chain.root}), complete.certificates);

    // All authority categories see a root of both CA and ROOT once; the
    // end entity comes first; Stop ends the walk.
    auto visit = [&](RepositoryFilter filter, Then answer) {
        std::vector<Certificate> seen;
        repository.visitCertificates(filter, [&](const Certificate& certificate) {
            seen.push_back(certificate);
            return answer;
        });
        return seen;
    };
    const std::vector<Certificate> authorities = visit(AnyCaFilter, Then::Continue);
    EXPECT_EQ(2u, authorities.size());
    EXPECT_EQ(1, std::count(authorities.begin(), authorities.end(), chain.root));
    EXPECT_EQ(1, std::count(authorities.begin(), authorities.end(), chain.intermediate));
    EXPECT_EQ(3u, visit(AllFilter, Then::Continue).size());
    EXPECT_EQ(std::vector<Certificate>{chain.leaf}, visit(AllFilter, Then::Stop));

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

TEST_F(SystemRepositoryTest, KeyOfACertificateLinkedToTheRemoteProviderIsOutOfReach)
{
    const Certificate remote = makeEndEntity("Remote");
    repository.bindToProvider(remote, ProviderLink{orvaneProviderName, L"remote-key"});
    EXPECT_NE(std::string::npos, failureOf<CapiException>([&] { repository.privateKeyOf(remote); })
                                     .find("\"Orvane Cryptographic Provider\""));
    EXPECT_THROW(repository.signWithCertificate({1, 2}, remote, "SHA256"), SignatureException);
}

// That a removal during a walk waits for its end is the publication's test;
// the list of put-off removals stays with the object and its next walk.
TEST_F(SystemRepositoryTest, ALongLivedObjectRepeatsTheRemovalsPutOffDuringAWalk)
{
    const Certificate certificate = makeEndEntity("First", 1);
    repository.bindToProvider(certificate, ProviderLink{orvaneProviderName, L"a"});
    repository.certificatesOfProvider(orvaneProviderName, [&](const Certificate& c) { repository.removeCertificate(c); });
    EXPECT_FALSE(folders->find("MY", certificate.fingerprint()));
    folders->put("MY", bare(certificate));
    repository.visitCertificates(AllFilter, [](const Certificate&) { return Then::Continue; });
    EXPECT_FALSE(folders->find("MY", certificate.fingerprint())) << "the next walk of this object removes it again";
}

TEST_F(SystemRepositoryTest, PublicationGivesNewEntriesTheFullLinkTakesOverRenamesOrDropsLinkedOnesAndNoOther)
{
    const Certificate a = makeEndEntity("Ana", 1), b = makeEndEntity("Bruno", 2), c = makeEndEntity("Carla", 3),
                      d = makeEndEntity("Davi", 4), e = makeEndEntity("Elisa", 5), f = makeEndEntity("Fabio", 6);
    folders->put("MY", StoreEntry{a, std::nullopt, std::wstring(L"kept")});  // unlinked
    link(b, L"Another Provider", L"theirs");
    link(c, orvaneProviderName, L"old-name");
    link(d, orvaneProviderName, L"nobody asks");
    link(e, L"Another Provider", L"not asked either");
    folders->put("MY", bare(f));
    folders->put("AddressBook", bare(d));
    folders->events.clear();
    publishCertificates({{a, L"key-a", L"Ana"}, {b, L"ours", L""}, {c, L"new-name", L""}, {a, L"key-a2", L""}},
                        repository);
    // Two keys with one certificate: one entry, linked to the last key; only
    // the link changes on an entry that was there.
    const std::wstring ours = L"|Orvane Cryptographic Provider|24|0|2";
    EXPECT_EQ((std::vector<std::wstring>{L"key-a2" + ours, L"ours" + ours, L"new-name" + ours,
                                         L"not asked either|Another Provider|24|0|2", L"(no link)"}),
              (std::vector<std::wstring>{linkOf(*folders, a), linkOf(*folders, b), linkOf(*folders, c),
                                         linkOf(*folders, e), linkOf(*folders, f)}));
    EXPECT_EQ(L"kept", folders->find("MY", a.fingerprint())->friendlyName.value_or(L""));
    // The entry that no key asks for goes at the end of the walk, not while
    // the walk stands on the store.
    ASSERT_GE(folders->events.size(), 3u);
    EXPECT_EQ((std::vector<std::string>{"walk MY", "end MY", "remove " + d.fingerprint()}),
              std::vector<std::string>(folders->events.begin(), folders->events.begin() + 3));

    // The same when the certificate is new to the store; published entries
    // carry no friendly name.
    publishCertificates({{d, L"one", L"Davi"}, {d, L"two", L"Davi"}}, repository);
    EXPECT_EQ(L"two" + ours, linkOf(*folders, d));
    EXPECT_FALSE(folders->find("MY", d.fingerprint())->friendlyName);
    EXPECT_EQ(3u, entries()) << "d, and the two that were never ours";

    // Nothing to publish: what is linked to us goes, nothing else.
    publishCertificates({}, repository);
    EXPECT_EQ(2u, entries());
    EXPECT_EQ(L"(none)", linkOf(*folders, d));
    EXPECT_EQ(L"(no link)", linkOf(*folders, f));
    EXPECT_TRUE(folders->find("AddressBook", d.fingerprint())) << "other stores are not touched";
}

TEST_F(SystemRepositoryTest, UnpublishRemovesEachCertificateWhereverItStandsAndStopsAtAMissingOne)
{
    const Certificate a = makeEndEntity("Ana", 1), b = makeEndEntity("Bruno", 2), c = makeEndEntity("Carla", 3),
                      d = makeEndEntity("Davi", 4);
    link(a, orvaneProviderName, L"ka");
    folders->put("AddressBook", bare(b));
    unpublishCertificates({{a, L"ka", L""}, {b, L"kb", L""}}, repository);
    EXPECT_EQ(0u, entries());
    EXPECT_EQ(0u, entries("AddressBook"));

    link(c, orvaneProviderName, L"kc");
    EXPECT_THROW(unpublishCertificates({{d, L"kd", L""}, {c, L"kc", L""}}, repository), CertificateNotFoundException);
    EXPECT_EQ(1u, entries()) << "the walk ended at the first failure";
}
