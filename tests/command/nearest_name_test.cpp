#include "command/nearest_name.h"

#include <CLI/CLI.hpp>
#include <gmock/gmock.h>

namespace command::test {
namespace {

TEST(NearestName, IsTheOneWithTheFewestDifferences)
{
    const std::vector<std::string> names{"open", "scan", "settings", "doctor"};
    EXPECT_EQ("open", nearest_name("opne", names)); // exchanged
    EXPECT_EQ("open", nearest_name("oepn", names));
    EXPECT_EQ("open", nearest_name("opne", {"opxx", "open"})); // one difference, not two
    EXPECT_EQ("scan", nearest_name("scn", names));             // missing
    EXPECT_EQ("scan", nearest_name("scann", names));           // additional
    EXPECT_EQ("doctor", nearest_name("docter", names));
    EXPECT_EQ("settings", nearest_name("setings", names));
    EXPECT_EQ("settings", nearest_name("set", names)); // the rest is missing
}

TEST(NearestName, IsNoneIfNoneIsLikely)
{
    EXPECT_EQ("", nearest_name("frobnicate", {"open", "scan"}));
    EXPECT_EQ("", nearest_name("x", {"open", "ab"}));
    EXPECT_EQ("", nearest_name("", {"open"}));
    EXPECT_EQ("", nearest_name("open", {}));
}

/// Returns the reason for which a command line is refused.
std::string reason(const std::vector<std::string>& arguments)
{
    CLI::App app("An application.", "app");
    app.require_subcommand(1);
    CLI::App* open = app.add_subcommand("open", "");
    std::vector<std::string> paths;
    std::string log;
    open->add_option("PATH", paths)->required();
    open->add_option("--log-level,-l", log);
    CLI::App* settings = app.add_subcommand("settings", "");
    settings->require_subcommand(1);
    settings->add_subcommand("show", "");
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& problem) {
        return reason_for_display(app, problem);
    }
    return "(none)";
}

TEST(ReasonForDisplay, NamesTheNearestSubcommand)
{
    EXPECT_EQ("there is no subcommand \"opne\"; the nearest is \"open\"", reason({"opne", "a.eml"}));
    EXPECT_EQ("there is no subcommand \"frobnicate\"", reason({"frobnicate"}));
    EXPECT_EQ("there is no subcommand \"shwo\"; the nearest is \"show\"", reason({"settings", "shwo", "a"}));
}

TEST(ReasonForDisplay, NamesTheNearestOption)
{
    EXPECT_EQ("there is no option \"--log-levle\"; the nearest is \"--log-level\"",
              reason({"open", "a", "--log-levle=3"}));
    EXPECT_EQ("there is no option \"--bogus\"", reason({"open", "--bogus", "a"}));
    EXPECT_EQ("there is no option \"-x\"", reason({"open", "-x", "a"}));
    EXPECT_EQ("there is no option \"--log-lvel\"; the nearest is \"--log-level\"",
              reason({"--log-lvel=3", "open", "a"}));
}

TEST(ReasonForDisplay, SpecifiesThePlaceOfAnOptionThatIsAheadOfItsSubcommand)
{
    EXPECT_EQ("the option \"--log-level\" belongs behind \"open\"", reason({"--log-level=3", "open", "a"}));
}

TEST(ReasonForDisplay, IsThatOfTheParserOtherwise)
{
    EXPECT_EQ("A subcommand is required", reason({}));
    EXPECT_EQ("PATH is required", reason({"open"}));
}

} // namespace
} // namespace command::test
