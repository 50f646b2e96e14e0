#include "tests/support/guarded_buffer.h"
#include "tool/system/utf.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace utf_test {

namespace utf = winapi::utf;

constexpr bool is_surrogate(char32_t value)
{
    return value >= 0xD800 && value <= 0xDFFF;
}

std::string utf8_of(char32_t code_point)
{
    std::string text;
    utf::append_utf8(text, code_point);
    return text;
}

std::wstring wide(std::initializer_list<char32_t> characters)
{
    std::wstring text;
    for (const char32_t character : characters) {
        text.push_back(static_cast<wchar_t>(character));
    }
    return text;
}

TEST(utf8, has_one_to_four_bytes_for_a_code_point)
{
    for (const auto& [code_point, bytes] : {std::pair<char32_t, std::string>{0, std::string(1, '\0')},
                                            {0x7F, "\x7F"},
                                            {0x80, "\xC2\x80"},
                                            {0x7FF, "\xDF\xBF"},
                                            {0x800, "\xE0\xA0\x80"},
                                            {0xFFFF, "\xEF\xBF\xBF"},
                                            {0x10000, "\xF0\x90\x80\x80"},
                                            {0x1F600, "\xF0\x9F\x98\x80"},
                                            {0x10FFFF, "\xF4\x8F\xBF\xBF"}}) {
        EXPECT_EQ(utf8_of(code_point), bytes);
    }
}

TEST(utf8, gives_back_every_code_point)
{
    for (char32_t code_point = 0; code_point <= utf::last_code_point; ++code_point) {
        if (!is_surrogate(code_point)) {
            const std::string text = utf8_of(code_point) + '\xBF';
            const auto next = utf::first_code_point(std::string_view(text));
            ASSERT_TRUE(next.valid && next.code_point == code_point && next.size == text.size() - 1)
                << std::uint32_t{code_point};
        }
    }
}

/// A valid result is the code point whose only form the bytes are, so that overlong forms are none.
TEST(utf8, takes_no_other_form_for_a_code_point)
{
    for (unsigned lead = 0x80; lead < 0x100; ++lead) {
        for (unsigned second = 0; second < 0x100; ++second) {
            for (const std::string tail : {"\x80\x80", "\xBF\xBF", "\x80", "a", ""}) {
                const std::string text = std::string{static_cast<char>(lead), static_cast<char>(second)} + tail;
                const auto next = utf::first_code_point(std::string_view(text));
                if (next.valid) {
                    ASSERT_EQ(utf8_of(next.code_point), text.substr(0, next.size)) << lead << ' ' << second;
                    ASSERT_FALSE(is_surrogate(next.code_point) || next.code_point > utf::last_code_point);
                } else {
                    ASSERT_EQ(next.code_point, utf::replacement_character);
                }
            }
        }
    }
}

TEST(utf8, replaces_the_bytes_that_could_still_have_become_right)
{
    for (const auto& [text, size] : {std::pair<std::string, std::size_t>{"\x80", 1},
                                     {"\xBF\x80", 1},
                                     {"\xC0\x80", 1},
                                     {"\xC1\xBF", 1},
                                     {"\xC3", 1},
                                     {"\xC3z", 1},
                                     {"\xE0\x9F\xBF", 1},
                                     {"\xE2\x82", 2},
                                     {"\xE2\x82z", 2},
                                     {"\xED\xA0\x80", 1},
                                     {"\xF0\x8F\xBF\xBF", 1},
                                     {"\xF0\x9F\x98", 3},
                                     {"\xF0\x9Fz", 2},
                                     {"\xF4\x90\x80\x80", 1},
                                     {"\xF5\x80\x80\x80", 1},
                                     {"\xFF", 1}}) {
        const test::guarded_buffer guarded(text);
        const auto next = utf::first_code_point(guarded.view());
        EXPECT_FALSE(next.valid) << testing::PrintToString(text);
        EXPECT_EQ(next.code_point, utf::replacement_character);
        EXPECT_EQ(next.size, size) << testing::PrintToString(text);
    }
}

TEST(utf8, is_taken_from_the_front)
{
    std::string_view text = "a\xE2\x82\xAC\xFFz";
    std::u32string taken;
    while (!text.empty()) {
        taken.push_back(utf::take_code_point(text));
    }
    EXPECT_EQ(taken, U"a\u20AC\uFFFDz");
}

TEST(utf8, is_cut_between_two_characters)
{
    const std::string_view text = "a\xC3\xA9\xF0\x9F\x98\x80";
    const std::vector<std::size_t> expected{0, 1, 1, 3, 3, 3, 3, 7, 7};
    for (std::size_t most = 0; most < expected.size(); ++most) {
        EXPECT_EQ(utf::whole_characters(text, most), expected[most]) << most;
    }
    EXPECT_EQ(utf::whole_characters("\x80\x80\x80", 2), 0U) << "no character begins";
}

TEST(wide_text, has_one_code_point_in_a_surrogate_pair)
{
    const std::wstring pair = wide({0xD83D, 0xDE00, 'x'});
    const auto next = utf::first_code_point(std::wstring_view(pair));
    EXPECT_TRUE(next.valid);
    EXPECT_EQ(next.code_point, 0x1F600U);
    EXPECT_EQ(next.size, 2U);
}

TEST(wide_text, has_no_code_point_in_an_unpaired_surrogate)
{
    for (const std::wstring& text : {wide({0xD83D}), wide({0xDBFF, 'x'}), wide({0xDC00}), wide({0xDFFF, 0xDC00}),
                                     wide({0xD800, 0xD800, 0xDC00})}) {
        const auto next = utf::first_code_point(std::wstring_view(text));
        EXPECT_FALSE(next.valid);
        EXPECT_EQ(next.code_point, utf::replacement_character);
        EXPECT_EQ(next.size, 1U);
    }
    EXPECT_TRUE(utf::first_code_point(std::wstring_view(wide({0xD7FF}))).valid);
    EXPECT_TRUE(utf::first_code_point(std::wstring_view(wide({0xE000}))).valid);
}

TEST(wide_text, ends_before_a_surrogate_that_only_follows_it)
{
    const std::wstring pair = wide({0xD83D, 0xDE00});
    const auto next = utf::first_code_point(std::wstring_view(pair).substr(0, 1));
    EXPECT_FALSE(next.valid);
    EXPECT_EQ(next.code_point, utf::replacement_character);
    EXPECT_EQ(next.size, 1U);
}

TEST(utf16, has_two_units_for_what_is_beyond_the_first_plane)
{
    EXPECT_EQ(utf::to_utf16(L"a\uFFFF\U00010000\U0010FFFF"), u"a\uFFFF\U00010000\U0010FFFF");
    EXPECT_EQ(utf::from_utf16(u"a\uFFFF\U00010000\U0010FFFF"), L"a\uFFFF\U00010000\U0010FFFF");
}

TEST(utf16, keeps_unpaired_surrogates)
{
    const std::u16string units{0xD83D, u'x', 0xDE00, 0xD83D, 0xD83D, 0xDE00, 0xD83D};
    EXPECT_EQ(utf::to_utf16(utf::from_utf16(units)), units);
    EXPECT_EQ(utf::from_utf16(units).substr(0, 3), wide({0xD83D, 'x', 0xDE00}));
}

} // namespace utf_test
