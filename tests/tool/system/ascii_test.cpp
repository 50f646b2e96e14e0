#include "tool/system/ascii.h"

#include <gtest/gtest.h>

#include <string_view>
#include <utility>
#include <vector>

namespace ascii_test {

using namespace winapi;

TEST(ascii, has_lower_case_for_its_own_letters_only)
{
    const std::pair<char, char> letters[] = {{'A', 'a'}, {'Z', 'z'}, {'M', 'm'}, {'a', 'a'},       {'@', '@'},
                                             {'[', '['}, {'0', '0'}, {0, 0},     {'\xC4', '\xC4'}, {'\xE4', '\xE4'}};
    for (const auto& [letter, lower] : letters) {
        EXPECT_EQ(ascii_lower(letter), lower) << letter;
    }
}

TEST(ascii, names_are_the_same_in_any_case)
{
    EXPECT_TRUE(same_no_case("ISTag", "istaG"));
    EXPECT_TRUE(same_no_case("", ""));
    EXPECT_FALSE(same_no_case("ISTag", "ISTags"));
    EXPECT_FALSE(same_no_case("ISTags", "ISTag"));
    EXPECT_FALSE(same_no_case("a[", "a{"));
}

TEST(ascii, blanks_are_removed_at_the_ends)
{
    EXPECT_EQ(trimmed(" \t\r\na b\n \t\r"), "a b");
    EXPECT_EQ(trimmed("ab"), "ab");
    EXPECT_EQ(trimmed(" \t\r\n"), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("\fa\f"), "\fa\f");
    EXPECT_EQ(trimmed("\r a \n", " "), "\r a \n");
    EXPECT_EQ(trimmed("-+a+-", "+-"), "a");
    EXPECT_EQ(trimmed_left("  a "), "a ");
    EXPECT_EQ(trimmed_left("  "), "");
}

TEST(ascii, parts_are_taken_one_by_one)
{
    const std::pair<std::string_view, std::vector<std::string_view>> texts[] = {
        {"", {}},      {"a", {"a"}},      {" a , b,c ", {"a", "b", "c"}},
        {"a,", {"a"}}, {",a", {"", "a"}}, {"a,,b", {"a", "", "b"}},
        {" ", {""}},   {",", {""}},       {"a;b", {"a;b"}},
    };
    for (const auto& [text, parts] : texts) {
        std::string_view rest = text;
        std::vector<std::string_view> taken;
        while (!rest.empty()) {
            taken.push_back(take_part(rest, ','));
        }
        EXPECT_EQ(taken, parts) << text;
    }
}

TEST(ascii, lists_contain_whole_parts)
{
    EXPECT_TRUE(list_contains("REQMOD, RESPMOD", "respmod"));
    EXPECT_TRUE(list_contains("close", "close"));
    EXPECT_TRUE(list_contains("keep-alive ,\tClose ", "close"));
    EXPECT_FALSE(list_contains("closed, not close", "close"));
    EXPECT_FALSE(list_contains("", "close"));
    EXPECT_FALSE(list_contains("2 04", "204"));
}

} // namespace ascii_test
