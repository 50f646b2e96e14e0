#include "tests/tool/icap_client/string_data.h"
#include "tool/icap_client/preview.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using icap::client::append_preview_tail;
using icap::client::preview;
using namespace std::string_literals;

TEST(Preview, TakesTheFirstBytesOfABody)
{
    test::string_data body("abcdef");
    preview taken(4);
    taken.fill(body);
    EXPECT_EQ(taken.bytes(), "abcd");
    EXPECT_EQ(taken.size(), 4U);
}

TEST(Preview, OfAShorterBodyIsPaddedWithZeros)
{
    test::string_data body("ab");
    preview taken(5);
    taken.fill(body);
    EXPECT_EQ(taken.bytes(), "ab\0\0\0"s);
}

TEST(Preview, OfSizeZeroReadsNothing)
{
    test::string_data body("ab");
    preview taken(0);
    taken.fill(body);
    EXPECT_TRUE(taken.empty());
    EXPECT_EQ(body.reads, 0);
}

TEST(Preview, LetsAFaultOfTheBodyPass)
{
    test::string_data body("ab");
    body.raise_on_read = true;
    preview taken(1);
    EXPECT_THROW(taken.fill(body), std::runtime_error);
}

TEST(PreviewTail, HasNoLineBreakBetweenSizeAndBytes)
{
    std::string text = "head";
    append_preview_tail(text, "0123456789abcdef");
    EXPECT_EQ(text, "head100123456789abcdef\r\n0\r\n\r\n");
}

TEST(PreviewTail, OfNothingIsTheTerminator)
{
    std::string text = "head";
    append_preview_tail(text, {});
    EXPECT_EQ(text, "head0\r\n\r\n");
}

} // namespace
