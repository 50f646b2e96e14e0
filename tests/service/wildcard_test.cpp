#include "service/wildcard.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace wildcard_test {

using service::wildcard;
using service::without_case;

bool matches(std::string_view pattern, std::string_view text)
{
    return wildcard(pattern).matches(without_case(text));
}

TEST(wildcard, matches_a_whole_text_in_either_case)
{
    EXPECT_TRUE(matches("abc", "abc"));
    EXPECT_TRUE(matches("aBc", "AbC"));
    EXPECT_FALSE(matches("abc", "abcd"));
    EXPECT_FALSE(matches("abc", "xabc"));
    EXPECT_FALSE(matches("abc", "ab"));
    EXPECT_FALSE(matches("abc", ""));
    EXPECT_TRUE(matches("*.EXE", "Setup.exe"));
    EXPECT_FALSE(matches("[a-z].exe", "a.exe"));
}

TEST(wildcard, takes_any_text_for_a_star)
{
    EXPECT_TRUE(matches("*", ""));
    EXPECT_TRUE(matches("*", "abc"));
    EXPECT_TRUE(matches("a*", "a"));
    EXPECT_TRUE(matches("*a", "ba"));
    EXPECT_FALSE(matches("*a", "ab"));
    EXPECT_TRUE(matches("a**c", "ac"));
    EXPECT_TRUE(matches("a*b*c", "aXbYbZc"));
    EXPECT_FALSE(matches("a*b*c", "aXcYb"));
    EXPECT_TRUE(matches("*.tar.gz", "a.tar.tar.gz"));
    EXPECT_TRUE(matches("*aab*", "aaaab"));
    EXPECT_FALSE(matches("*aab", "aabx"));
}

TEST(wildcard, takes_one_character_for_a_question_mark)
{
    EXPECT_TRUE(matches("a?c", "abc"));
    EXPECT_FALSE(matches("a?c", "ac"));
    EXPECT_FALSE(matches("a?c", "abbc"));
    EXPECT_TRUE(matches("?", "\xC3\xA4"));
    EXPECT_TRUE(matches("?", "\xF0\x9F\x98\x80"));
    EXPECT_TRUE(matches("*?", "x"));
    EXPECT_FALSE(matches("*?", ""));
}

TEST(wildcard, compares_letters_of_other_alphabets_too)
{
    EXPECT_TRUE(matches("\xC3\x84rger", "\xC3\xA4RGER"));         // A umlaut
    EXPECT_TRUE(matches("\xCE\xA9", "\xCF\x89"));                 // omega
    EXPECT_TRUE(matches("\xD0\xAF\xD0\x81", "\xD1\x8F\xD1\x91")); // ya, yo
    EXPECT_FALSE(matches("\xC3\x97", "\xC3\xB7"));                // the signs for times and divided
    EXPECT_TRUE(matches("\xC3\xA4", "\xE4"));                     // Latin-1
}

/// Would not end if each star were tried at each place.
TEST(wildcard, does_not_try_all_stars_at_all_places)
{
    std::string pattern;
    for (int i = 0; i < 127; ++i) {
        pattern += "*a";
    }
    const std::string name(1024, 'a');
    EXPECT_FALSE(matches(pattern + "*b", name));
    EXPECT_TRUE(matches(pattern + "*b", name + "b"));
    EXPECT_TRUE(matches(pattern, name));
}

TEST(wildcard, refuses_patterns_that_cannot_be)
{
    for (const std::string& text : {std::string(), std::string("a\nb"), std::string("\xFF"), std::string(257, 'x')}) {
        EXPECT_THROW(wildcard{text}, std::invalid_argument) << text;
    }
    EXPECT_NO_THROW(wildcard{std::string(256, 'x')});
}

} // namespace wildcard_test
