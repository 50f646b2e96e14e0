#include "service/safe_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace service;
using namespace std::string_view_literals;

TEST(from_base64, reads_padded_text)
{
    EXPECT_EQ(from_base64(""), "");
    EXPECT_EQ(from_base64("QQ=="), "A");
    EXPECT_EQ(from_base64("QUI="), "AB");
    EXPECT_EQ(from_base64("QUJD"), "ABC");
    EXPECT_EQ(from_base64("aW52b2ljZS5wZGY="), "invoice.pdf");
    EXPECT_EQ(from_base64("AP8Q+/8="), std::string("\0\xFF\x10\xFB\xFF", 5));
}

TEST(from_base64, refuses_everything_else)
{
    for (const std::string_view text : {"Q", "QQ", "QQ=", "QQ==\n", "Q===", "====", "QQ==QQ==", "QU=C", "QU C", "QUJ-",
                                        "QUJ_", "\xC3\xA4QQ", "QUJDQ"}) {
        EXPECT_EQ(from_base64(text), std::nullopt) << text;
    }
    EXPECT_EQ(from_base64("QU\0D"sv), std::nullopt);
}

TEST(display_text, keeps_utf_8)
{
    EXPECT_EQ(display_text("r\xC3\xA9sum\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"),
              "r\xC3\xA9sum\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(display_text(""), "");
}

TEST(display_text, reads_other_bytes_as_latin_1)
{
    EXPECT_EQ(display_text("r\xE9sum\xE9"), "r\xC3\xA9sum\xC3\xA9");
    // Overlong forms, unpaired surrogates, values beyond the range of Unicode, and truncated characters.
    for (const std::string_view bytes : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                         "\xF5\x80\x80\x80", "\xE2\x82", "\xC3", "\x80", "\xF0\x8F\xBF\xBF"}) {
        const std::string text = display_text(bytes);
        EXPECT_NE(text, bytes);
        EXPECT_TRUE(text.find_first_of("\xC2\xC3") == 0 || text[0] == ' ') << text;
    }
}

TEST(display_text, turns_control_characters_into_blanks)
{
    EXPECT_EQ(display_text("a\r\nb\tc\x7F"
                           "d"),
              "a  b c d");
    EXPECT_EQ(display_text("a\0b"sv), "a b");
    EXPECT_EQ(display_text("a\xC2\x85"
                           "b"),
              "a b");
    EXPECT_EQ(display_text("a\xC2\xA0"
                           "b"),
              "a\xC2\xA0"
              "b");
}

TEST(display_text, cuts_by_characters_and_says_so)
{
    EXPECT_EQ(display_text("abcdef", 6), "abcdef");
    EXPECT_EQ(display_text("abcdefg", 6), "abcdef...");
    EXPECT_EQ(display_text("\xC3\xA9\xC3\xA9\xC3\xA9", 2), "\xC3\xA9\xC3\xA9...");
    EXPECT_EQ(display_text(std::string(201, 'x')), std::string(200, 'x') + "...");
}

TEST(html_escaped, leaves_nothing_that_means_something)
{
    EXPECT_EQ(html_escaped("<a href=\"x\" title='y'>&amp;</a>"),
              "&lt;a href=&quot;x&quot; title=&#39;y&#39;&gt;&amp;amp;&lt;/a&gt;");
    EXPECT_EQ(html_escaped("plain \xC3\xA9"), "plain \xC3\xA9");
}

TEST(threat_name, is_fit_for_a_header)
{
    const std::vector<std::pair<std::string_view, std::string>> cases{
        {"Win.Test.EICAR_HDB-1", "Win.Test.EICAR_HDB-1"},
        {"", "unknown"},
        {"a b", "a_b"},
        {"a;b=c", "a_b_c"},
        {"a\r\nX-Other: 1", "a__X-Other:_1"},
        {"\xC3\xA9", "__"},
        {std::string_view("a\0b", 3), "a_b"},
        {"~!", "~!"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(threat_name(text), expected);
    }
    EXPECT_EQ(threat_name(std::string(500, 'x')), std::string(128, 'x'));
}

} // namespace
