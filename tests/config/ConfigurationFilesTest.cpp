// The configuration files: properties, whole-file replacement and UTF-8.

#include "config/AtomicFile.h"
#include "config/Properties.h"
#include "config/TextCodec.h"

#include "tests/mock/FailureText.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <utime.h>

using namespace orvane::model;
using orvane::test::readFile;
using orvane::test::TempDir;
using orvane::test::writeFile;
namespace fs = std::filesystem;

TEST(Properties, ReadsSettingsAndKeepsEveryLine)
{
    Properties p = Properties::parse(
        "# installer settings\n"
        "   brantis.url =  https://host/  \n"
        "\n"
        "harrier.url = a=b=c\n"
        "brantis.url = https://second\n"
        "no separator here\n"
        "empty.value =\n");

    EXPECT_EQ(p.get(L"brantis.url"), L"https://host/");  // the first line of a key wins
    EXPECT_EQ(p.get(L"harrier.url"), L"a");               // a value ends at the next "="
    EXPECT_EQ(p.get(L"empty.value"), L"");
    EXPECT_EQ(p.get(L"no separator here"), L"");
    EXPECT_EQ(p.get(L"BRANTIS.URL"), L"");                 // keys are case-sensitive
    EXPECT_EQ(p.entries().size(), 3u);
    ASSERT_EQ(p.lines().size(), 7u);
    EXPECT_EQ(p.lines()[1], L"brantis.url =  https://host/");  // indentation is not kept
    EXPECT_EQ(p.entries().at(L"brantis.url").second, 1u);
    // Both lines of the doubled key survive a rewrite.
    EXPECT_EQ(p.text(),
              "# installer settings\nbrantis.url =  https://host/\n\nharrier.url = a=b=c\n"
              "brantis.url = https://second\nno separator here\nempty.value =\n");
}

TEST(Properties, BytesAreCharactersAndALineStartingWithEqualsRejectsTheFile)
{
    // Each byte is one character both ways, so UTF-8 or Latin-1 text passes
    // through a load and a save unchanged.
    const std::string bytes = "nome = Jo\xC3\xA3o\nlatin = \xE9t\xE9\n";
    EXPECT_EQ(Properties::parse(bytes).get(L"nome"), std::wstring(L"Jo\u00C3\u00A3o"));
    EXPECT_EQ(Properties::parse(bytes).text(), bytes);
    EXPECT_EQ(orvane::test::failureOf<std::out_of_range>([] { Properties::parse("a = 1\n  = orphan value\n"); }),
              "invalid string position");
}

TEST(Properties, AddAndMergeRewriteOnlyTheirLines)
{
    Properties file = Properties::parse("# proxy\nproxy.enable = false\n# mode below\nproxy.mode = 1\n");
    Properties changes;
    changes.add(L" proxy.mode ", L" 3 ");
    changes.add(L"proxy.address.https", L"proxy:3128");
    EXPECT_EQ(changes.text(), "proxy.mode = 3\nproxy.address.https = proxy:3128\n");

    file.merge(changes);
    EXPECT_EQ(file.get(L"proxy.mode"), L"3");
    EXPECT_EQ(file.get(L"proxy.address.https"), L"proxy:3128");
    EXPECT_EQ(file.text(),
              "# proxy\nproxy.enable = false\n# mode below\nproxy.mode = 3\nproxy.address.https = proxy:3128\n");
    EXPECT_EQ(file.entries().at(L"proxy.address.https").second, 4u);
}

TEST(Properties, FilesOnDisk)
{
    TempDir dir;
    EXPECT_TRUE(Properties::load(dir.file("missing.properties")).entries().empty());

    const std::string path = dir.file("proxy.properties");
    writeFile(path, "old = 1\n");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    Properties p = Properties::load(path);
    p.add(L"new", L"2");
    p.save(path);
    EXPECT_EQ(readFile(path), "old = 1\nnew = 2\n");
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);  // an existing file keeps its rights

    // A file that cannot be written leaves nothing behind and raises nothing.
    p.save(dir.file("no/such/folder/x.properties"));
    EXPECT_EQ(readFile(dir.file("no/such/folder/x.properties")), "");
}

TEST(AtomicFile, ReplacesWholeWithOwnerOnlyRightsAndSweepsOldLeftoversOfKilledWriters)
{
    TempDir dir;
    const std::string path = dir.file("identity.xml");
    const std::string stale = path + ".tmp-AAAAAA", fresh = path + ".tmp-BBBBBB";
    const std::string other = dir.file("proxy.properties.tmp-CCCCCC");
    for (const std::string& f : {path, stale, fresh, other})
        writeFile(f, "partial");
    const utimbuf longAgo {1000, 1000};
    utime(stale.c_str(), &longAgo);
    utime(other.c_str(), &longAgo);

    ASSERT_TRUE(writeFileAtomically(path, "new content"));
    EXPECT_EQ(readFile(path), "new content");
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_TRUE(fs::exists(fresh));  // may belong to a writer still at work
    EXPECT_TRUE(fs::exists(other));  // another file's business
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 3);

    // A folder that does not exist: nothing written, nothing left, old file kept.
    EXPECT_FALSE(writeFileAtomically(dir.file("missing/identity.xml"), "x"));
    EXPECT_EQ(readFile(path), "new content");
}

TEST(TextCodec, Utf8RoundTripsAllPlanesAndMalformedUtf8IsABadConversion)
{
    const std::wstring text = L"Usu\u00E1rio \u20AC \U0001F600";
    EXPECT_EQ(toUtf8(text), "Usu\xC3\xA1rio \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(fromUtf8(toUtf8(text)), text);
    for (const char* bad : {"\xC3", "\xC3\x28", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"})
        EXPECT_EQ(orvane::test::failureOf<std::range_error>([&] { fromUtf8(bad); }), "bad conversion") << bad;
}
