#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using winapi::code_page_ansi;
using winapi::code_page_thread_ansi;
using winapi::code_page_utf8;
using winapi::compare_no_case;
using winapi::conv_to_char;
using winapi::conv_to_wide;

/// Sets another ANSI code page for one test.
class ansi_is
{
public:
    explicit ansi_is(std::uint32_t code_page)
        : before_(winapi::ansi_code_page(code_page))
    {}
    ansi_is(const ansi_is&) = delete;
    ansi_is& operator=(const ansi_is&) = delete;
    ~ansi_is() { winapi::ansi_code_page(before_); }

private:
    std::uint32_t before_;
};

/// U+1F600 in wide text, for any width of a wide character.
const std::wstring smile = L"\U0001F600";

TEST(conv_to_char, writes_utf8_of_every_length)
{
    EXPECT_EQ(conv_to_char(L"a\u00e9\u20ac" + smile, code_page_utf8), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(conv_to_char(L"\u007f\u0080\u07ff\u0800", code_page_utf8), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80");
}

TEST(conv_to_char, keeps_zero_characters)
{
    EXPECT_EQ(conv_to_char(std::wstring(L"a\0b", 3), code_page_utf8), std::string("a\0b", 3));
    const ansi_is latin(1252);
    EXPECT_EQ(conv_to_char(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(conv_to_char, converts_each_character_at_each_place_of_a_long_text)
{
    const ansi_is latin(1252);
    for (const std::uint32_t page : {code_page_utf8, code_page_ansi}) {
        for (const wchar_t letter : {L'\0', L'\x7f', L'\x80', L'\xff', L'\u20ac', L'\uffff'}) {
            const std::wstring wide(1, letter);
            const std::string narrow = conv_to_char(wide, page);
            for (std::size_t place = 0; place < 70; ++place) {
                const std::size_t rest = 70 - place;
                EXPECT_EQ(conv_to_char(std::wstring(place, L'a') + wide + std::wstring(rest, L'b'), page),
                          std::string(place, 'a') + narrow + std::string(rest, 'b'))
                    << page << ' ' << static_cast<unsigned>(letter) << ' ' << place;
                EXPECT_EQ(conv_to_wide(std::string(place, 'a') + narrow + std::string(rest, 'b'), page),
                          std::wstring(place, L'a') + conv_to_wide(narrow, page) + std::wstring(rest, L'b'))
                    << page << ' ' << static_cast<unsigned>(letter) << ' ' << place;
            }
        }
    }
}

TEST(conv_to_char, gives_nothing_for_nothing_in_any_code_page)
{
    EXPECT_EQ(conv_to_char(L"", 99999), "");
    EXPECT_EQ(conv_to_wide("", 99999), L"");
}

TEST(conv_to_char, puts_the_replacement_character_for_an_unpaired_surrogate)
{
    const std::wstring high(1, static_cast<wchar_t>(0xD83D));
    const std::wstring low(1, static_cast<wchar_t>(0xDE00));
    EXPECT_EQ(conv_to_char(high, code_page_utf8), "\xEF\xBF\xBD");
    EXPECT_EQ(conv_to_char(low + L"x", code_page_utf8), "\xEF\xBF\xBDx");
    EXPECT_EQ(conv_to_char(high + L"x", code_page_utf8), "\xEF\xBF\xBDx");
}

TEST(conv_to_char, takes_a_surrogate_pair_as_one_code_point)
{
    const std::wstring pair{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    EXPECT_EQ(conv_to_char(pair, code_page_utf8), "\xF0\x9F\x98\x80");
}

TEST(conv_to_char, writes_the_ansi_code_page)
{
    const ansi_is latin(1252);
    EXPECT_EQ(conv_to_char(L"caf\u00e9 \u20ac5 \u2013 \u0178"), "caf\xE9 \x80"
                                                                "5 \x96 \x9F");
    EXPECT_EQ(conv_to_char(L"\u20ac", code_page_thread_ansi), "\x80");
}

TEST(conv_to_char, puts_the_default_character_for_what_the_code_page_cannot_hold)
{
    const ansi_is latin(1252);
    EXPECT_EQ(conv_to_char(L"x\u4e2d\u0416y"), "x??y");
}

TEST(conv_to_char, raises_for_a_code_page_that_is_none)
{
    try {
        conv_to_char(L"text", 99999);
        FAIL() << "no exception";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "conv_to_char called wcstombs() and failed.");
    }
    EXPECT_THROW(conv_to_wide("text", 99999), std::runtime_error);
}

TEST(eight_bit_code_page, belongs_to_the_language_of_a_seven_bit_one)
{
    for (const auto& [seven_bit, eight_bit] : std::initializer_list<std::pair<std::uint32_t, std::uint32_t>>{
             {50220, 932}, {50221, 932}, {50222, 932}, {50225, 949}, {50227, 936}, {52936, 936}, {50229, 950}}) {
        EXPECT_EQ(eight_bit, winapi::eight_bit_code_page(seven_bit));
    }
    EXPECT_EQ(0U, winapi::eight_bit_code_page(20127));
    EXPECT_EQ(0U, winapi::eight_bit_code_page(65000));
    for (const std::uint32_t page : {0U, 932U, 1252U, 20866U, 28591U, 51932U, 65001U}) {
        EXPECT_EQ(page, winapi::eight_bit_code_page(page));
    }
}

TEST(conv_to_char, follows_the_code_page_that_is_put_in_the_place_of_the_ansi_one)
{
    {
        const ansi_is utf8(code_page_utf8);
        EXPECT_EQ(winapi::ansi_code_page(), code_page_utf8);
        EXPECT_EQ(conv_to_char(L"\u20ac"), "\xE2\x82\xAC");
        EXPECT_EQ(conv_to_wide("\xE2\x82\xAC", code_page_thread_ansi), L"\u20ac");
    }
    const ansi_is cyrillic(1251);
    EXPECT_EQ(conv_to_char(L"\u0416"), "\xC6");
    EXPECT_EQ(conv_to_wide("\xC6"), L"\u0416");
}

TEST(ansi_code_page, goes_back_to_the_systems_with_zero)
{
    const std::uint32_t own = winapi::ansi_code_page();
    EXPECT_NE(own, 0U);
    EXPECT_EQ(winapi::ansi_code_page(1251), own);
    EXPECT_EQ(winapi::ansi_code_page(0), 1251U);
    EXPECT_EQ(winapi::ansi_code_page(), own);
}

TEST(conversions, keep_every_byte_of_1252_through_both_directions)
{
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all.push_back(static_cast<char>(byte));
    }
    const std::wstring wide = conv_to_wide(all, 1252);
    ASSERT_EQ(wide.size(), 256U);
    EXPECT_EQ(wide[0x80], L'\u20ac');
    EXPECT_EQ(wide[0x81], static_cast<wchar_t>(0x81));
    EXPECT_EQ(wide[0x99], L'\u2122');
    EXPECT_EQ(wide[0xFF], L'\u00ff');
    EXPECT_EQ(conv_to_char(wide, 1252), all);
}

TEST(conversions, know_what_1252_has_in_the_place_of_control_characters)
{
    EXPECT_EQ(conv_to_wide("\x80\x81\x82\x83\x84\x85\x86\x87\x88\x89\x8A\x8B\x8C\x8D\x8E\x8F", 1252),
              L"\u20ac\u0081\u201a\u0192\u201e\u2026\u2020\u2021\u02c6\u2030\u0160\u2039\u0152\u008d\u017d\u008f");
    EXPECT_EQ(conv_to_wide("\x90\x91\x92\x93\x94\x95\x96\x97\x98\x99\x9A\x9B\x9C\x9D\x9E\x9F", 1252),
              L"\u0090\u2018\u2019\u201c\u201d\u2022\u2013\u2014\u02dc\u2122\u0161\u203a\u0153\u009d\u017e\u0178");
}

TEST(conversions, know_code_pages_beyond_the_two_common_ones)
{
    EXPECT_EQ(conv_to_char(L"\u0416\u0436", 1251), "\xC6\xE6");
    EXPECT_EQ(conv_to_wide("\xC6\xE6", 1251), L"\u0416\u0436");
    EXPECT_EQ(conv_to_char(L"\u65e5\u672c", 932), "\x93\xFA\x96\x7B");
    EXPECT_EQ(conv_to_wide("\x93\xFA\x96\x7B", 932), L"\u65e5\u672c");
    EXPECT_EQ(conv_to_wide("\xCD", 20866), L"\u043c"); // KOI8-R
    EXPECT_EQ(conv_to_wide("\xE9", 28591), L"\u00e9"); // Latin-1
    EXPECT_EQ(conv_to_char(L"\u0142", 28592), "\xB3"); // Latin-2
    EXPECT_EQ(conv_to_char(L"a\u4e2db", 1251), "a?b"); // a character that the code page does not contain
}

TEST(conversions, keep_the_end_of_a_text_that_a_combining_character_could_follow)
{
    EXPECT_EQ(conv_to_wide("ba", 1258), L"ba");       // Vietnamese: tone marks follow the vowel
    EXPECT_EQ(conv_to_wide("\xF9", 1255), L"\u05E9"); // Hebrew: points follow the letter
}

TEST(conversions, handle_texts_longer_than_an_inner_block)
{
    std::wstring wide;
    std::string narrow;
    for (int i = 0; i < 5000; ++i) {
        wide += L"\u0416x";
        narrow += "\xC6x";
    }
    EXPECT_EQ(conv_to_char(wide, 1251), narrow);
    EXPECT_EQ(conv_to_wide(narrow, 1251), wide);
}

TEST(conv_to_wide, reads_utf8_of_every_length)
{
    EXPECT_EQ(conv_to_wide("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", code_page_utf8), L"a\u00e9\u20ac" + smile);
}

TEST(conv_to_wide, puts_replacement_characters_for_broken_utf8)
{
    EXPECT_EQ(conv_to_wide("a\xFFz", code_page_utf8), L"a\uFFFDz");
    EXPECT_EQ(conv_to_wide("a\x80z", code_page_utf8), L"a\uFFFDz");
    EXPECT_EQ(conv_to_wide("a\xC3", code_page_utf8), L"a\uFFFD");
    EXPECT_EQ(conv_to_wide("\xC3z", code_page_utf8), L"\uFFFDz");
    // Overlong forms and surrogates are not code points; the number of replacements for them depends on the system.
    for (const char* broken : {"\xC0\xAF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"}) {
        const std::wstring wide = conv_to_wide(broken, code_page_utf8);
        EXPECT_FALSE(wide.empty());
        EXPECT_EQ(wide.find_first_not_of(L'\uFFFD'), std::wstring::npos) << broken;
    }
}

TEST(to_hex, has_lower_case_digits_without_leading_zeros)
{
    EXPECT_EQ(winapi::to_hex(0), "0");
    EXPECT_EQ(winapi::to_hex(0xABCDEF0123456789U), "abcdef0123456789");
    EXPECT_EQ(winapi::to_hex(0xFFFFFFFFFFFFFFFFU), "ffffffffffffffff");
    EXPECT_EQ(winapi::hex32(0x8000FFFFU), "8000ffff");
    EXPECT_EQ(winapi::hex32(0), "0");
    EXPECT_EQ(winapi::hex32(10), "a");
}

TEST(compare_no_case, folds_ascii_letters_only)
{
    EXPECT_EQ(compare_no_case("Content-Length", "CONTENT-length"), 0);
    EXPECT_EQ(compare_no_case("", ""), 0);
    EXPECT_NE(compare_no_case("\xC4", "\xE4"), 0);
    EXPECT_NE(compare_no_case("[", "{"), 0);
    EXPECT_NE(compare_no_case("@", "`"), 0);
}

TEST(compare_no_case, looks_no_further_than_the_end_of_the_shorter_text)
{
    const std::string_view text = "abcabd";
    EXPECT_EQ(compare_no_case(text.substr(0, 2), text.substr(3, 2)), 0) << "different letters follow";
    EXPECT_LT(compare_no_case(text.substr(0, 2), "ABA"), 0) << "a letter that comes later follows the shorter text";
    EXPECT_GT(compare_no_case("ABA", text.substr(0, 2)), 0);
}

TEST(compare_no_case, orders_by_lower_case_letters_then_by_length)
{
    EXPECT_LT(compare_no_case("a", "B"), 0);
    EXPECT_GT(compare_no_case("b", "A"), 0);
    EXPECT_LT(compare_no_case("abc", "abcd"), 0);
    EXPECT_GT(compare_no_case("abcd", "ABC"), 0);
    EXPECT_LT(compare_no_case("_", "A"), 0) << "the letter counts as 'a', which stands behind '_'";
    EXPECT_LT(compare_no_case("a", "\x80"), 0) << "bytes count as unsigned";
    EXPECT_EQ(compare_no_case(std::string_view("a\0B", 3), std::string_view("A\0b", 3)), 0);
    EXPECT_LT(compare_no_case(std::string_view("a\0b", 3), std::string_view("a\0c", 3)), 0);
}

} // namespace
