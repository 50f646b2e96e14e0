#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// On Windows the system chooses what replaces a character that 1252 lacks; for some it is a similar letter.
TEST(conv_to_char, has_a_question_mark_for_the_neighbours_of_the_characters_of_1252)
{
    EXPECT_EQ(winapi::conv_to_char(L"\u007f\u0080\u0082\u009f\u00a0", 1252), "\x7F???\xA0");
    EXPECT_EQ(winapi::conv_to_char(L"\u00ff\u0100", 1252), "\xFF?");
}

TEST(conversions, know_every_part_of_iso_8859)
{
    EXPECT_EQ(winapi::conv_to_char(L"\u20ac", 28605), "\xA4");
    EXPECT_EQ(winapi::conv_to_char(L"\u20ac", 28606), "\xA4");
    EXPECT_EQ(winapi::conv_to_wide("\xAA", 28605), L"\u00aa");
    EXPECT_EQ(winapi::conv_to_wide("\xAA", 28606), L"\u0218");
    EXPECT_THROW(winapi::conv_to_wide("\xAA", 28590), std::runtime_error);
    EXPECT_THROW(winapi::conv_to_wide("\xAA", 28607), std::runtime_error);
}

TEST(conv_to_char, returns_to_ascii_at_the_end_of_a_text_with_shifts)
{
    EXPECT_EQ(winapi::conv_to_char(L"a\u65e5\u672c", 50220), "a\x1B$BF|K\\\x1B(B");
    EXPECT_EQ(winapi::conv_to_wide("a\x1B$BF|K\\\x1B(B", 50220), L"a\u65e5\u672c");
}

} // namespace
