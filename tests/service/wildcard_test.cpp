#include "service/wildcard.h"

#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace wildcard_test {

using service::wildcard;
using service::without_case;

bool matches(std::string_view pattern, std::string_view text)
{
    return wildcard(pattern).matches(without_case(text));
}

struct wildcard_case
{
    const char* behaviour;
    std::vector<std::pair<std::string_view, std::string_view>> matching; ///< pattern and text
    std::vector<std::pair<std::string_view, std::string_view>> other;
};

/// Returns what GoogleTest shows for a case.
std::ostream& operator<<(std::ostream& out, const wildcard_case& shown)
{
    return out << shown.behaviour;
}

const std::vector<wildcard_case> wildcard_cases{
    {"matches_a_whole_text_in_either_case",
     {
         {"abc", "abc"},
         {"aBc", "AbC"},
         {"*.EXE", "Setup.exe"},
     },
     {
         {"abc", "abcd"},
         {"abc", "xabc"},
         {"abc", "ab"},
         {"abc", ""},
         {"[a-z].exe", "a.exe"},
     }},
    {"takes_any_text_for_a_star",
     {
         {"*", ""},
         {"*", "abc"},
         {"a*", "a"},
         {"*a", "ba"},
         {"a**c", "ac"},
         {"a*b*c", "aXbYbZc"},
         {"*.tar.gz", "a.tar.tar.gz"},
         {"*aab*", "aaaab"},
     },
     {
         {"*a", "ab"},
         {"a*b*c", "aXcYb"},
         {"*aab", "aabx"},
     }},
    {"takes_one_character_for_a_question_mark",
     {
         {"a?c", "abc"},
         {"?", "\xC3\xA4"},
         {"?", "\xF0\x9F\x98\x80"},
         {"*?", "x"},
     },
     {
         {"a?c", "ac"},
         {"a?c", "abbc"},
         {"*?", ""},
     }},
    {"compares_letters_of_other_alphabets_too",
     {
         {"\xC3\x84rger", "\xC3\xA4RGER"},         // A umlaut
         {"\xCE\xA9", "\xCF\x89"},                 // omega
         {"\xD0\xAF\xD0\x81", "\xD1\x8F\xD1\x91"}, // ya, yo
         {"\xC3\xA4", "\xE4"},                     // Latin-1
     },
     {
         {"\xC3\x97", "\xC3\xB7"}, // the signs for times and divided
     }},
};

class wildcard_matching : public testing::TestWithParam<wildcard_case>
{};

TEST_P(wildcard_matching, is_of_the_whole_text)
{
    for (const auto& [pattern, text] : GetParam().matching) {
        EXPECT_TRUE(matches(pattern, text)) << pattern << " " << text;
    }
    for (const auto& [pattern, text] : GetParam().other) {
        EXPECT_FALSE(matches(pattern, text)) << pattern << " " << text;
    }
}

INSTANTIATE_TEST_SUITE_P(cases, wildcard_matching, testing::ValuesIn(wildcard_cases),
                         [](const auto& shown) { return std::string(shown.param.behaviour); });

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
