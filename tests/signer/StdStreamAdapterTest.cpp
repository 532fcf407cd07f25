// The BIO method over C++ streams.

#include "signer/StdStreamAdapter.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>

#include <sstream>

using namespace valmora::signer;

namespace {

TEST(StdStreamAdapter, MethodIdentity)
{
    const BIO_METHOD* method = stdStreamAdapterMethod();
    ASSERT_NE(nullptr, method);
    EXPECT_EQ(method, stdStreamAdapterMethod());
    BioPtr bio = newStdStreamBio(nullptr, nullptr);
    ASSERT_TRUE(bio);
    EXPECT_EQ(1074, BIO_method_type(bio.get()));
    EXPECT_STREQ("std_stream_adapter", BIO_method_name(bio.get()));
}

TEST(StdStreamAdapter, WritesAndPutsReachTheStreamAndFailuresAnswerMinusOne)
{
    std::ostringstream out;
    BioPtr bio = newStdStreamBio(nullptr, &out);
    EXPECT_EQ(5, BIO_write(bio.get(), "hello", 5));
    EXPECT_EQ(6, BIO_puts(bio.get(), " world"));
    EXPECT_EQ(1, BIO_flush(bio.get()));
    EXPECT_EQ("hello world", out.str());

    out.setstate(std::ios::badbit);
    EXPECT_EQ(-1, BIO_write(bio.get(), "x", 1));

    // Without an output stream there is nowhere to write; without an input
    // stream nothing to read.
    BioPtr readOnly = newStdStreamBio(nullptr, nullptr);
    EXPECT_EQ(-1, BIO_write(readOnly.get(), "x", 1));
    char buffer[8];
    EXPECT_EQ(-1, BIO_read(readOnly.get(), buffer, sizeof buffer));
}

TEST(StdStreamAdapter, ReadsAndGetsComeFromTheStream)
{
    std::istringstream in(std::string("first line\nsecond\0rest", 23));
    BioPtr bio = newStdStreamBio(&in, nullptr);
    char buffer[64] = {};
    EXPECT_EQ(5, BIO_read(bio.get(), buffer, 5));
    EXPECT_EQ("first", std::string(buffer, 5));
    // gets reads a block and counts up to the first zero byte.
    char line[32] = {};
    EXPECT_EQ(12, BIO_gets(bio.get(), line, sizeof line));
    EXPECT_EQ(" line\nsecond", std::string(line, 12));
    EXPECT_EQ(0, BIO_read(bio.get(), buffer, sizeof buffer));
}

} // namespace
