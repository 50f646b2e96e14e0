#include "host/opening/console.h"
#include "tests/host/cli_fixture.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(CommandLine, TellsItsVersion)
{
    const auto result = command({"--version"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, testing::MatchesRegex("postwarden [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ("", result.err);
}

TEST(CommandLine, HelpsEverywhere)
{
    const auto general = command({"--help"});
    EXPECT_EQ(0, general.status);
    EXPECT_THAT(general.out, testing::AllOf(HasSubstr("open"), HasSubstr("scan")));
    const auto open = command({"open", "--help"});
    EXPECT_EQ(0, open.status);
    for (const char* option : {"--port", "--uri", "--times", "--registry", "--log", "--log-level", "--json"}) {
        EXPECT_THAT(open.out, HasSubstr(option));
    }
    const auto scan = command({"scan", "--help"});
    EXPECT_EQ(0, scan.status);
    for (const char* option : {"--kind", "--port", "--uri", "--timeout", "--repaired-to", "--json", "http-response"}) {
        EXPECT_THAT(scan.out, HasSubstr(option));
    }
}

class WrongUsage : public testing::TestWithParam<std::vector<std::string>>
{};

TEST_P(WrongUsage, EndsWithOneLineAndStatusTwo)
{
    const auto result = command(GetParam());
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, StartsWith("postwarden: command line: "));
    EXPECT_EQ(1U, lines_of(result.err).size()) << result.err;
}

INSTANTIATE_TEST_SUITE_P(Arguments, WrongUsage,
                         testing::Values(std::vector<std::string>{}, std::vector<std::string>{"shut"},
                                         std::vector<std::string>{"open"},
                                         std::vector<std::string>{"open", "--bogus", "a"},
                                         std::vector<std::string>{"open", "--port", "0", "a"},
                                         std::vector<std::string>{"open", "--port", "65536", "a"},
                                         std::vector<std::string>{"open", "--port", "x", "a"},
                                         std::vector<std::string>{"open", "--times", "0", "a"},
                                         std::vector<std::string>{"open", "--registry", "KeepVerdictInEmail", "a"},
                                         std::vector<std::string>{"open", "--registry", "KeepVerdictInEmail=much", "a"},
                                         std::vector<std::string>{"open", "--registry", "Colour=red", "a"},
                                         std::vector<std::string>{"open", "--log-level", "-1", "a"},
                                         std::vector<std::string>{"scan"},
                                         std::vector<std::string>{"scan", "--kind", "letter", "a"},
                                         std::vector<std::string>{"scan", "--kind", "certificate"},
                                         std::vector<std::string>{"scan", "--timeout", "0", "a"},
                                         std::vector<std::string>{"scan", "--repaired-to", "x", "a", "b"}));

TEST(Columns, CountWhatATerminalShows)
{
    EXPECT_EQ(5U, columns_of("plain"));
    EXPECT_EQ(7U, columns_of("\u0414\u043E\u0433\u043E\u0432\u043E\u0440"));
    EXPECT_EQ(6U, columns_of("\u5FA1\u898B\u7A4D")); // wide characters
    EXPECT_EQ(1U, columns_of("e\u0301"));            // a combining accent takes no column
    EXPECT_EQ(3U, columns_of("a\xFF"
                             "b")); // an invalid byte is shown as "?"
}

TEST(Columns, AreFilledOrCut)
{
    EXPECT_EQ("ab   ", fitted("ab", 5));
    EXPECT_EQ("abcde", fitted("abcde", 5));
    EXPECT_EQ("abcd\u2026", fitted("abcdef", 5));
    EXPECT_EQ("\u5FA1\u898B\u2026", fitted("\u5FA1\u898B\u7A4D\u66F8", 5));
    EXPECT_EQ(5U, columns_of(fitted("\u5FA1\u898B\u7A4D\u66F8", 5)));
    EXPECT_EQ(4U, columns_of(fitted("\u5FA1\u898B\u7A4D\u66F8", 4))); // the cut leaves a column over
    EXPECT_EQ("a?b", fitted("a\nb", 3));                              // nothing that moves the cursor
    EXPECT_EQ("a?[2Jb", fitted("a\x1B[2Jb", 6));
}

TEST(ProgressBar, IsDrawnOnATerminalWhenThereAreMany)
{
    std::ostringstream out;
    std::ostringstream err;
    const console terminal{out, err, true, 80};
    {
        progress_bar bar(terminal, 100);
        bar.show(50);
        EXPECT_THAT(err.str(), HasSubstr("50 of 100"));
        EXPECT_THAT(err.str(), HasSubstr("####################...................."));
    }
    EXPECT_TRUE(err.str().ends_with("\r\033[K"));
    EXPECT_EQ("", out.str());
}

TEST(ProgressBar, IsNotDrawnForFewOrWithoutATerminal)
{
    std::ostringstream out;
    std::ostringstream err;
    const console terminal{out, err, true, 80};
    progress_bar(terminal, 3).show(1);
    const console pipe{out, err, false, 80};
    progress_bar(pipe, 1000).show(1);
    EXPECT_EQ("", err.str());
}

} // namespace
} // namespace host::test
