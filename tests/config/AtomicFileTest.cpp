#include "config/AtomicFile.h"

#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>
#include <utime.h>

using orvane::model::writeFileAtomically;
using orvane::test::readFile;
using orvane::test::TempDir;
using orvane::test::writeFile;
namespace fs = std::filesystem;

TEST(AtomicFile, ReplacesWholeWithOwnerOnlyRights)
{
    TempDir dir;
    const std::string path = dir.file("identity.xml");
    writeFile(path, "old");
    ASSERT_TRUE(writeFileAtomically(path, "new content"));
    EXPECT_EQ(readFile(path), "new content");
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);

    // A folder that does not exist: nothing written, nothing left, old file kept.
    EXPECT_FALSE(writeFileAtomically(dir.file("missing/identity.xml"), "x"));
    EXPECT_EQ(readFile(path), "new content");
}

TEST(AtomicFile, OldLeftoversOfKilledWritersAreSweptFreshOnesKept)
{
    TempDir dir;
    const std::string path = dir.file("identity.xml");
    const std::string stale = path + ".tmp-AAAAAA";
    const std::string fresh = path + ".tmp-BBBBBB";
    const std::string other = dir.file("proxy.properties.tmp-CCCCCC");
    for (const std::string& f : {stale, fresh, other})
        writeFile(f, "partial");
    const utimbuf longAgo {1000, 1000};
    utime(stale.c_str(), &longAgo);
    utime(other.c_str(), &longAgo);

    ASSERT_TRUE(writeFileAtomically(path, "whole"));
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_TRUE(fs::exists(fresh));   // may belong to a writer still at work
    EXPECT_TRUE(fs::exists(other));   // another file's business
}
