#include "service/engine/stream_matcher.h"
#include "tests/support/every_split.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

struct searched
{
    std::string_view pattern;
    std::string_view text;
    bool contained;
};

TEST(stream_matcher, finds_a_pattern_across_every_border_and_only_where_it_is)
{
    const searched texts[] = {
        {"needle", "needle", true},
        {"needle", "hay needle hay", true},
        {"needle", "hayneedle", true},
        {"needle", "needlehay", true},
        {"needle", "neeneedle", true},
        {"aab", "aaaaab", true},
        {"abab", "aabaabab", true},
        {"needle", "needl", false},
        {"needle", "eedle", false},
        {"needle", "need le", false},
        {"needle", "neednle needl Needle", false},
        {"abab", "abaabba", false},
        // Patterns of one byte, and bytes of every value.
        {"x", "hayx", true},
        {"x", "hay", false},
        {{"\0\xFF", 2}, {"a\0\0\xFF", 4}, true},
        {{"\0\xFF", 2}, {"\xFF\0", 2}, false},
    };
    for (const searched& one : texts) {
        test::every_split(one.text, [&one](const test::pieces& pieces) {
            EXPECT_EQ(found_in(one.pattern, pieces), one.contained)
                << "'" << one.pattern << "' in '" << one.text << "', first piece of " << pieces.front().size();
        });
    }
}

TEST(stream_matcher, reports_a_match_from_its_last_byte_on)
{
    struct stream
    {
        const char* meaning;
        std::string pattern;
        std::vector<std::pair<std::string_view, bool>> pieces; ///< and whether the pattern is found with them
    };
    const stream streams[] = {
        {"bytes that were not neighbours", "abcd", {{"ab", false}, {"xyz", false}, {"cd", false}}},
        {"what comes behind", "needle", {{"nee", false}, {"dle", true}, {"other", true}, {"", true}}},
        {"empty pieces", "needle", {{"", false}, {"need", false}, {"", false}, {"le", true}}},
    };
    for (const stream& one : streams) {
        const service::search_text text(one.pattern);
        stream_matcher matcher(text);
        for (const auto& [piece, found] : one.pieces) {
            EXPECT_EQ(matcher.feed(piece), found) << one.meaning << ": " << piece;
            EXPECT_EQ(matcher.found(), found) << one.meaning << ": " << piece;
        }
    }
}

} // namespace
