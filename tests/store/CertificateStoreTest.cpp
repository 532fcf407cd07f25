// The certificate stores as folders: file form, permissions, foreign files,
// order, and changes from two processes at once.
#include "signer/directory/DirectoryCertificateStore.h"
#include "tests/mock/TempDir.h"
#include "tests/store/StoreTestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

using namespace valmora::signer;
using orvane::test::readFile;
using orvane::test::TempDir;
using orvane::test::writeFile;
using orvane::test::store::linkOf;
using orvane::test::store::makeEndEntity;
using orvane::test::store::modeOf;

namespace {

std::vector<std::string> walk(CertificateStore& store, const std::string& name)
{
    std::vector<std::string> seen;
    store.forEachEntry(name, [&](const StoreEntry& entry) {
        seen.push_back(entry.certificate.fingerprint());
        return Then::Continue;
    });
    return seen;
}

class DirectoryStoreTest : public testing::Test {
protected:
    TempDir dir;
    DirectoryCertificateStore store{dir.file("certstore")};
};

} // namespace

TEST_F(DirectoryStoreTest, EntryRoundTripsWithLinkAndFriendlyNameAndOnlyTheOwnerReadsIt)
{
    const Certificate certificate = makeEndEntity("Maria");
    const KeyProviderInfo link{L"key\nwith % and ç", L"Orvane Cryptographic Provider", 24, 0, 2};
    store.put("MY", StoreEntry{certificate, link, std::wstring(L"Assinatura da Maria")});
    EXPECT_EQ(L"key\nwith % and ç|Orvane Cryptographic Provider|24|0|2", linkOf(store, certificate));
    const std::optional<StoreEntry> back = store.find("MY", certificate.fingerprint());
    ASSERT_TRUE(back);
    EXPECT_EQ(certificate, back->certificate);
    EXPECT_EQ(L"Assinatura da Maria", back->friendlyName.value_or(L""));

    // The documented form, line by line.
    const std::string text = readFile(store.entryPath("MY", certificate.fingerprint()));
    EXPECT_EQ(0u, text.find("orvane-certificate-entry: 1\nfingerprint: " + certificate.fingerprint() + "\n"));
    EXPECT_NE(std::string::npos, text.find("\ncontainer-name: key%0Awith %25 and \xc3\xa7\n"));
    EXPECT_NE(std::string::npos,
              text.find("\nprovider-type: 24\nprovider-flags: 0\nkey-spec: 2\n\n-----BEGIN CERTIFICATE-----\n"));

    // An entry without properties has no such lines.
    store.put("CA", StoreEntry{certificate, std::nullopt, std::nullopt});
    EXPECT_EQ(L"(no link)", linkOf(store, certificate, "CA"));
    EXPECT_FALSE(store.find("CA", certificate.fingerprint())->friendlyName);

    EXPECT_EQ(0700u, modeOf(dir.file("certstore")));
    EXPECT_EQ(0700u, modeOf(dir.file("certstore/CA")));
    EXPECT_EQ(0600u, modeOf(store.entryPath("CA", certificate.fingerprint())));
}

TEST_F(DirectoryStoreTest, ForeignDamagedAndHalfWrittenFilesArePassedOverNeverFatal)
{
    const Certificate good = makeEndEntity("Good", 1), other = makeEndEntity("Other", 2),
                      third = makeEndEntity("Third", 3);
    store.put("MY", StoreEntry{good, std::nullopt, std::nullopt});
    const std::string folder = dir.file("certstore/MY");
    const std::string goodText = readFile(store.entryPath("MY", good.fingerprint()));
    std::string badNumber =
        DirectoryCertificateStore::encode(StoreEntry{third, KeyProviderInfo{L"k", L"p", 24, 0, 2}, std::nullopt});
    badNumber.replace(badNumber.find("provider-type: 24"), 17, "provider-type: 2x4");

    // A foreign file, a writer's leftover, a whole entry under the name of
    // another certificate; truncated, a wrong first line, a broken escape,
    // a number that is no number.
    const std::vector<std::pair<std::string, std::string>> files = {
        {"notes.txt", "not an entry"},
        {DirectoryCertificateStore::fileName(good.fingerprint()) + ".tmp-AbC123", goodText},
        {DirectoryCertificateStore::fileName(other.fingerprint()), goodText},
        {std::string(40, 'a') + ".entry", goodText.substr(0, goodText.size() / 2)},
        {std::string(40, 'c') + ".entry", "orvane-certificate-entry: 9\n" + goodText},
        {std::string(40, 'd') + ".entry", "orvane-certificate-entry: 1\nfriendly-name: %G1\n\n"},
        {DirectoryCertificateStore::fileName(third.fingerprint()), badNumber}};
    for (const auto& [name, text] : files)
        writeFile(folder + "/" + name, text);
    // A pipe and a folder under entry names must not hold up the walk.
    ASSERT_EQ(0, ::mkfifo((folder + "/" + std::string(40, 'e') + ".entry").c_str(), 0600));
    ASSERT_EQ(0, ::mkdir((folder + "/" + std::string(40, 'f') + ".entry").c_str(), 0700));

    EXPECT_EQ(std::vector<std::string>{good.fingerprint()}, walk(store, "MY"));
    EXPECT_FALSE(store.find("MY", other.fingerprint()));
    EXPECT_FALSE(store.find("MY", third.fingerprint()));
    EXPECT_FALSE(store.find("MY", std::string(40, 'e')));
}

TEST_F(DirectoryStoreTest, WalkOrderIsTheOrderOfFileNames)
{
    std::vector<std::string> names, walked;
    for (long serial = 1; serial <= 12; ++serial) {
        const Certificate certificate = makeEndEntity("Order " + std::to_string(serial), serial);
        store.put("MY", StoreEntry{certificate, std::nullopt, std::nullopt});
        names.push_back(DirectoryCertificateStore::fileName(certificate.fingerprint()));
    }
    std::sort(names.begin(), names.end());
    for (const std::string& fingerprint : walk(store, "MY"))
        walked.push_back(DirectoryCertificateStore::fileName(fingerprint));
    EXPECT_EQ(names, walked);
    EXPECT_TRUE(walk(store, "ROOT").empty()) << "a store never written is empty";
}

TEST_F(DirectoryStoreTest, AddKeepsWhatStandsUpdateAndRemoveReportAbsence)
{
    const Certificate certificate = makeEndEntity("Add");
    const std::string fingerprint = certificate.fingerprint();
    EXPECT_TRUE(store.add("CA", StoreEntry{certificate, std::nullopt, std::wstring(L"first")}));
    EXPECT_FALSE(store.add("CA", StoreEntry{certificate, std::nullopt, std::wstring(L"second")}));
    EXPECT_EQ(L"first", store.find("CA", fingerprint)->friendlyName.value_or(L""));

    const auto forget = [](StoreEntry& entry) { entry.friendlyName.reset(); };
    EXPECT_TRUE(store.update("CA", fingerprint, forget));
    EXPECT_FALSE(store.find("CA", fingerprint)->friendlyName);
    EXPECT_FALSE(store.update("ROOT", fingerprint, [](StoreEntry&) { ADD_FAILURE(); }));
    // A change that changes nothing leaves the file as it is.
    struct stat before {}, after {};
    ASSERT_EQ(0, ::stat(store.entryPath("CA", fingerprint).c_str(), &before));
    EXPECT_TRUE(store.update("CA", fingerprint, forget));
    ASSERT_EQ(0, ::stat(store.entryPath("CA", fingerprint).c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino) << "rewritten although nothing changed";

    EXPECT_TRUE(store.remove("CA", fingerprint));
    EXPECT_FALSE(store.remove("CA", fingerprint));
    EXPECT_FALSE(store.remove("ROOT", fingerprint));
    EXPECT_FALSE(store.find("CA", fingerprint));
    EXPECT_THROW(store.put("Personal", StoreEntry{certificate, std::nullopt, std::nullopt}), CertificateStoreError)
        << "an unknown store is never written";
}

TEST_F(DirectoryStoreTest, ChangesFromTwoProcessesAtOnceAreSerialised)
{
    // Each process adds one to a counter kept in the same entry, many times;
    // without the lock, read and write of the two would interleave and
    // increments would be lost.
    const Certificate certificate = makeEndEntity("Shared");
    store.put("MY", StoreEntry{certificate, std::nullopt, std::wstring(L"0")});
    constexpr int rounds = 150;
    const auto increment = [&] {
        DirectoryCertificateStore own(dir.file("certstore"));
        for (int i = 0; i < rounds; ++i)
            own.update("MY", certificate.fingerprint(), [](StoreEntry& entry) {
                entry.friendlyName = std::to_wstring(std::stoi(*entry.friendlyName) + 1);
            });
    };
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        increment();
        ::_exit(0);
    }
    increment();
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(std::to_wstring(2 * rounds), store.find("MY", certificate.fingerprint())->friendlyName.value_or(L""));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(dir.file("certstore/MY")),
                               std::filesystem::directory_iterator()))
        << "one entry, and no temporary file left behind";
}
