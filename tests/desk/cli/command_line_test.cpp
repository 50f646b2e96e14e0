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

/// Every command that has a help text.
const std::vector<std::vector<std::string>> all_commands{
    {}, {"open"}, {"scan"}, {"settings"}, {"settings", "show"}, {"settings", "make"}, {"doctor"}};

TEST(CommandLine, HelpsWithinEightyColumnsAndWithExamples)
{
    for (std::vector<std::string> words : all_commands) {
        words.emplace_back("--help");
        const auto help = command(words);
        EXPECT_EQ(0, help.status);
        EXPECT_THAT(help.out, HasSubstr("\nExamples:\n  postwarden ")) << words.front();
        for (const std::string& line : lines_of(help.out)) {
            EXPECT_GE(80U, columns_of(line)) << line;
        }
    }
}

TEST(CommandLine, NamesTheNearestSubcommandOrOption)
{
    const auto refusal = [](const std::vector<std::string>& arguments) { return command(arguments).err; };
    EXPECT_THAT(refusal({"opne", "a"}), HasSubstr("no subcommand \"opne\"; the nearest is \"open\""));
    EXPECT_THAT(refusal({"settings", "sow", "a"}), HasSubstr("no subcommand \"sow\"; the nearest is \"show\""));
    EXPECT_THAT(refusal({"open", "a", "--recursiv"}), HasSubstr("\"--recursiv\"; the nearest is \"--recursive\""));
    EXPECT_THAT(refusal({"scan", "--knd=mail", "a"}), HasSubstr("\"--knd\"; the nearest is \"--kind\""));
    EXPECT_THAT(refusal({"doctor", "--prot", "1"}), HasSubstr("\"--prot\"; the nearest is \"--port\""));
}

TEST(CommandLine, TakesOptionsBehindNames)
{
    const temporary_folder folder;
    const auto file = folder.write("a.eml", "Subject: a\n\nx\n").string();
    EXPECT_EQ(1U, command({"open", file, "--json"}).json().size());
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
