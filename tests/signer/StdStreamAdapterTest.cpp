// The BIO method over C++ streams; the archive tests use it for whole
// archives, this is about its failures and its gets.

#include "signer/StdStreamAdapter.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>

#include <sstream>

using namespace valmora::signer;

namespace {

TEST(StdStreamAdapter, FailuresAnswerMinusOneAndGetsCountsToTheFirstZeroByte)
{
    std::ostringstream out;
    BioPtr bio = newStdStreamBio(nullptr, &out);
    EXPECT_EQ(5, BIO_write(bio.get(), "hello", 5));
    EXPECT_EQ(6, BIO_puts(bio.get(), " world"));
    EXPECT_EQ("hello world", out.str());
    out.setstate(std::ios::badbit);
    EXPECT_EQ(-1, BIO_write(bio.get(), "x", 1));

    // Without an output stream nowhere to write; without an input stream
    // nothing to read.
    BioPtr none = newStdStreamBio(nullptr, nullptr);
    char buffer[32] = {};
    EXPECT_EQ(-1, BIO_write(none.get(), "x", 1));
    EXPECT_EQ(-1, BIO_read(none.get(), buffer, sizeof buffer));

    std::istringstream in(std::string("first line\nsecond\0rest", 23));
    BioPtr reader = newStdStreamBio(&in, nullptr);
    EXPECT_EQ(5, BIO_read(reader.get(), buffer, 5));
    EXPECT_EQ(12, BIO_gets(reader.get(), buffer, sizeof buffer));
    EXPECT_EQ(" line\nsecond", std::string(buffer, 12));
    EXPECT_EQ(0, BIO_read(reader.get(), buffer, sizeof buffer));
}

} // namespace
