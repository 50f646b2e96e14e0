#include "service/preview_normaliser.h"
#include "tests/service/requests.h"
#include "tests/support/every_split.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace {

using service::preview_normaliser;

struct outcome
{
    std::string text;
    bool settled = false;
    bool bare = false;
};

outcome normalised(std::size_t preview_size, const test::pieces& pieces)
{
    preview_normaliser normaliser(preview_size);
    outcome result;
    for (const auto piece : pieces) {
        normaliser.feed(piece, result.text);
    }
    result.settled = normaliser.settled();
    result.bare = normaliser.bare();
    return result;
}

void expect_form(std::size_t preview_size, const std::string& wire, const std::string& expected, bool bare)
{
    test::every_split(wire, [&](const test::pieces& pieces) {
        const outcome result = normalised(preview_size, pieces);
        EXPECT_TRUE(result.settled);
        EXPECT_EQ(result.bare, bare) << testing::PrintToString(wire);
        EXPECT_EQ(result.text, expected) << "first piece of " << pieces.front().size();
    });
}

/// Previews of 31 bytes that look like something else where a chunk line would continue.
std::vector<std::string> treacherous_previews()
{
    std::vector<std::string> previews{
        "harmless text",
        "\r\n",
        "\n\n\n",
        "\r\n0\r\n\r\n",
        "; ieof\r\n",
        " \r\n",
        "\t",
        "0\r\n\r\n",
        "abcdef",
        "1f\r\n",
        "\r\n1f\r\n",
        ";name=value\r\n0\r\n\r\n",
        std::string(31, '\n'),
        std::string(31, '0'),
        std::string(31, '\0'),
        std::string(31, '\xFF'),
        "\r\n" + std::string(22, 'x') + "\r\n0\r\n\r\n",
        "\r\n" + std::string(24, 'x') + "\r\n0\r\n",
    };
    for (auto& preview : previews) {
        preview.resize(31, '.');
    }
    return previews;
}

TEST(preview_normaliser, puts_the_missing_line_end_into_the_bare_form)
{
    for (const std::string& preview : treacherous_previews()) {
        expect_form(31, "1f" + preview + "\r\n0\r\n\r\n", "1f\r\n" + preview + "\r\n0\r\n\r\n", true);
    }
}

TEST(preview_normaliser, passes_the_standard_form_unchanged)
{
    for (const std::string& preview : treacherous_previews()) {
        const std::string wire = "1f\r\n" + preview + "\r\n0\r\n\r\n";
        expect_form(31, wire, wire, false);
    }
}

TEST(preview_normaliser, passes_every_other_way_to_write_the_standard_form)
{
    const std::string preview(31, 'p');
    const std::vector<std::string> wires{
        "1F\r\n" + preview + "\r\n0\r\n\r\n",                     // capital digits
        "01f\r\n" + preview + "\r\n0\r\n\r\n",                    // leading zeros
        "1f\n" + preview + "\n0\n\n",                             // bare line feeds
        "1f \r\n" + preview + "\r\n0\r\n\r\n",                    // a blank
        "1f;name=value\r\n" + preview + "\r\n0\r\n\r\n",          // an extension
        "a\r\n" + preview.substr(0, 10) + "\r\n0; ieof\r\n\r\n",  // a shorter object
        "1\r\np\r\n1e\r\n" + preview.substr(1) + "\r\n0\r\n\r\n", // several chunks
        "0\r\n\r\n",                                              // an empty object
        "0; ieof\r\n\r\n",                                        //
        "1f\r\n" + preview + "\r\n0; ieof\r\n\r\n",               // the whole object
    };
    for (const std::string& wire : wires) {
        expect_form(31, wire, wire, false);
    }
}

TEST(preview_normaliser, reads_sizes_of_one_and_of_many_digits)
{
    expect_form(1, "1x\r\n0\r\n\r\n", "1\r\nx\r\n0\r\n\r\n", true);
    expect_form(1, "1\n\r\n0\r\n\r\n", "1\r\n\n\r\n0\r\n\r\n", true);
    expect_form(1, "1;\r\n0\r\n\r\n", "1\r\n;\r\n0\r\n\r\n", true);
    expect_form(1, "11\r\n0\r\n\r\n", "1\r\n1\r\n0\r\n\r\n", true);
    const std::string preview(300, '\r');
    expect_form(300, "12c" + preview + "\r\n0\r\n\r\n", "12c\r\n" + preview + "\r\n0\r\n\r\n", true);
    expect_form(300, "12c\r\n" + preview + "\r\n0\r\n\r\n", "12c\r\n" + preview + "\r\n0\r\n\r\n", false);
}

TEST(preview_normaliser, passes_what_follows_without_looking_at_it)
{
    preview_normaliser normaliser(1);
    std::string out;
    normaliser.feed("1x", out);
    EXPECT_EQ(out, "1\r\nx");
    normaliser.feed("1x", out);
    EXPECT_EQ(out, "1\r\nx1x");
}

TEST(preview_normaliser, gives_nothing_away_while_the_form_is_open)
{
    preview_normaliser normaliser(4);
    std::string out;
    for (const std::string_view piece : {"4", "\r", "\nab", "\r", "\n0\r\n\r"}) {
        normaliser.feed(piece, out);
        EXPECT_EQ(out, "");
        EXPECT_FALSE(normaliser.settled());
    }
    normaliser.feed("\n", out);
    EXPECT_TRUE(normaliser.bare());
    EXPECT_EQ(out, "4\r\n\r\nab\r\n0\r\n\r\n");
}

} // namespace
