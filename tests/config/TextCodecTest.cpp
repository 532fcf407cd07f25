#include "config/TextCodec.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace orvane::model;

TEST(TextCodec, Utf8RoundTripsAllPlanes)
{
    const std::wstring text = L"Usu\u00E1rio \u20AC \U0001F600";
    EXPECT_EQ(toUtf8(text), "Usu\xC3\xA1rio \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(fromUtf8(toUtf8(text)), text);
}

TEST(TextCodec, MalformedUtf8IsABadConversion)
{
    for (const char* bad : {"\xC3", "\xC3\x28", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"}) {
        try {
            fromUtf8(bad);
            ADD_FAILURE() << "accepted " << bad;
        } catch (const std::range_error& e) {
            EXPECT_STREQ(e.what(), "bad conversion");
        }
    }
}
