// Publication of the remote keys' certificates into "MY" and their removal.
#include "signer/Exceptions.h"
#include "signer/Publication.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "tests/mock/TempKeyStore.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>

using namespace valmora::signer;
using orvane::test::TempKeyStore;
using orvane::test::store::makeEndEntity;

namespace {

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

class PublicationTest : public testing::Test {
protected:
    std::map<std::string, std::optional<KeyProviderInfo>> entries(const std::string& store = "MY")
    {
        std::map<std::string, std::optional<KeyProviderInfo>> found;
        folders->forEachEntry(store, [&](const StoreEntry& entry) {
            found[entry.certificate.fingerprint()] = entry.provider;
            return Then::Continue;
        });
        return found;
    }
    std::wstring containerOf(const Certificate& certificate)
    {
        const auto entry = folders->find("MY", certificate.fingerprint());
        return entry && entry->provider ? entry->provider->containerName : L"(none)";
    }
    void link(const Certificate& certificate, const std::wstring& provider, const std::wstring& container)
    {
        folders->put("MY", StoreEntry{certificate, KeyProviderInfo{container, provider, 24, 0, 2}, std::nullopt});
    }

    TempKeyStore token;
    std::shared_ptr<RecordingStore> folders = std::make_shared<RecordingStore>(token.certificateStoreFolder());
    SystemRepository stores{token.keyStore(), folders};
    Certificate a = makeEndEntity("Ana", 1), b = makeEndEntity("Bruno", 2), c = makeEndEntity("Carla", 3),
                d = makeEndEntity("Davi", 4);
};

} // namespace

TEST_F(PublicationTest, EmptyListRemovesOnlyTheEntriesLinkedToTheProvider)
{
    link(a, orvaneProviderName, L"ka");
    link(b, orvaneProviderName, L"kb");
    link(c, L"Another Provider", L"kc");
    folders->put("MY", StoreEntry{d, std::nullopt, std::nullopt});
    folders->put("AddressBook", StoreEntry{a, std::nullopt, std::nullopt});
    publishCertificates({}, stores);
    const auto left = entries();
    EXPECT_EQ(2u, left.size());
    EXPECT_TRUE(left.count(c.fingerprint()));
    EXPECT_TRUE(left.count(d.fingerprint()));
    EXPECT_TRUE(folders->find("AddressBook", a.fingerprint())) << "other stores are not touched";
}

TEST_F(PublicationTest, NewEntriesGetTheFullLinkAndLinkedOnesAreTakenOverRenamedOrDropped)
{
    folders->put("MY", StoreEntry{a, std::nullopt, std::wstring(L"kept")});  // unlinked
    link(b, L"Another Provider", L"theirs");
    link(c, orvaneProviderName, L"old-name");
    link(d, orvaneProviderName, L"nobody asks");
    folders->events.clear();
    publishCertificates({{a, L"key-a", L"Ana"}, {b, L"ours", L""}, {c, L"new-name", L""}, {a, L"key-a2", L""}},
                        stores);
    const auto published = entries();
    ASSERT_EQ(3u, published.size());
    for (const auto& [fingerprint, provider] : published) {
        ASSERT_TRUE(provider) << fingerprint;
        EXPECT_EQ(L"Orvane Cryptographic Provider", provider->providerName);
        EXPECT_EQ((std::vector<unsigned>{24, 0, 2}),
                  (std::vector<unsigned>{provider->providerType, provider->flags, provider->keySpec}));
    }
    // Two keys with one certificate: one entry, linked to the last key; only
    // the link changes on an entry that was there.
    EXPECT_EQ(L"key-a2", containerOf(a));
    EXPECT_EQ(L"kept", folders->find("MY", a.fingerprint())->friendlyName.value_or(L""));
    EXPECT_EQ(L"ours", containerOf(b));
    EXPECT_EQ(L"new-name", containerOf(c));
    // The entry that no key asks for goes at the end of the walk, not while
    // the walk stands on the store.
    ASSERT_GE(folders->events.size(), 3u);
    EXPECT_EQ((std::vector<std::string>{"walk MY", "end MY", "remove " + d.fingerprint()}),
              std::vector<std::string>(folders->events.begin(), folders->events.begin() + 3));

    // The same when the certificate is new to the store; published entries
    // carry no friendly name.
    publishCertificates({{d, L"one", L"Davi"}, {d, L"two", L"Davi"}}, stores);
    EXPECT_EQ(1u, entries().size());
    EXPECT_EQ(L"two", containerOf(d));
    EXPECT_FALSE(folders->find("MY", d.fingerprint())->friendlyName);
}

TEST_F(PublicationTest, UnpublishRemovesEachCertificateWhereverItStandsAndStopsAtAMissingOne)
{
    link(a, orvaneProviderName, L"ka");
    folders->put("AddressBook", StoreEntry{b, std::nullopt, std::nullopt});
    unpublishCertificates({{a, L"ka", L""}, {b, L"kb", L""}}, stores);
    EXPECT_TRUE(entries().empty());
    EXPECT_TRUE(entries("AddressBook").empty());

    link(c, orvaneProviderName, L"kc");
    EXPECT_THROW(unpublishCertificates({{d, L"kd", L""}, {c, L"kc", L""}}, stores), CertificateNotFoundException);
    EXPECT_EQ(1u, entries().size()) << "the walk ended at the first failure";
}
