#include "tests/desk/cli/cli_fixture.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(CommandLine, TellsItsVersion)
{
    const auto result = command({"--version"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, testing::MatchesRegex("postwarden [0-9]+\\.[0-9]+\\.[0-9]+( \\([0-9a-f]+(-dirty)?\\))?\n"));
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

} // namespace
} // namespace host::test
