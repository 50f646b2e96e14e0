#include "service/engine/stream_matcher.h"
#include "tests/support/every_split.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using service::stream_matcher;

bool found_in(std::string_view pattern, const test::pieces& pieces)
{
    const service::search_text text{std::string(pattern)};
    stream_matcher matcher(text);
    for (const auto piece : pieces) {
        matcher.feed(piece);
    }
    return matcher.found();
}

void expect_everywhere(std::string_view pattern, std::string_view text, bool expected)
{
    test::every_split(text, [&](const test::pieces& pieces) {
        EXPECT_EQ(found_in(pattern, pieces), expected)
            << "'" << pattern << "' in '" << text << "', first piece of " << pieces.front().size();
    });
}

TEST(stream_matcher, finds_the_pattern_across_every_border)
{
    expect_everywhere("needle", "needle", true);
    expect_everywhere("needle", "hay needle hay", true);
    expect_everywhere("needle", "hayneedle", true);
    expect_everywhere("needle", "needlehay", true);
    expect_everywhere("needle", "neeneedle", true);
    expect_everywhere("aab", "aaaaab", true);
    expect_everywhere("abab", "aabaabab", true);
}

TEST(stream_matcher, finds_nothing_that_is_not_there)
{
    expect_everywhere("needle", "needl", false);
    expect_everywhere("needle", "eedle", false);
    expect_everywhere("needle", "need le", false);
    expect_everywhere("needle", "neednle needl Needle", false);
    expect_everywhere("abab", "abaabba", false);
}

TEST(stream_matcher, does_not_join_bytes_that_were_not_neighbours)
{
    const service::search_text text("abcd");
    stream_matcher matcher(text);
    EXPECT_FALSE(matcher.feed("ab"));
    EXPECT_FALSE(matcher.feed("xyz"));
    EXPECT_FALSE(matcher.feed("cd"));
    EXPECT_FALSE(matcher.found());
}

TEST(stream_matcher, finds_patterns_of_one_byte_and_bytes_of_every_value)
{
    expect_everywhere("x", "hayx", true);
    expect_everywhere("x", "hay", false);
    expect_everywhere(std::string_view("\0\xFF", 2), std::string_view("a\0\0\xFF", 4), true);
    expect_everywhere(std::string_view("\0\xFF", 2), std::string_view("\xFF\0", 2), false);
}

TEST(stream_matcher, stays_found_whatever_comes_behind)
{
    const service::search_text text("needle");
    stream_matcher matcher(text);
    EXPECT_FALSE(matcher.feed("nee"));
    EXPECT_TRUE(matcher.feed("dle"));
    EXPECT_TRUE(matcher.feed("other"));
    EXPECT_TRUE(matcher.feed(""));
    EXPECT_TRUE(matcher.found());
}

TEST(stream_matcher, takes_empty_pieces_between_the_halves)
{
    const service::search_text text("needle");
    stream_matcher matcher(text);
    EXPECT_FALSE(matcher.feed(""));
    EXPECT_FALSE(matcher.feed("need"));
    EXPECT_FALSE(matcher.feed(""));
    EXPECT_TRUE(matcher.feed("le"));
}

} // namespace
