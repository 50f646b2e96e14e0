#include "service/configuration/configuration.h"
#include "tests/support/temporary_folder.h"

#include <CLI/CLI.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace configuration_test {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class configuration : public testing::Test
{
protected:
    [[nodiscard]] service::configuration read(std::vector<std::string> arguments) const
    {
        return service::configuration_reader(std::move(arguments),
                                             [this](const std::string& name) {
                                                 const auto found = variables.find(name);
                                                 return found == variables.end()
                                                            ? std::nullopt
                                                            : std::optional<std::string>(found->second);
                                             })
            .read();
    }
    [[nodiscard]] std::vector<std::string> problems(const std::vector<std::string>& arguments) const
    {
        try {
            (void)read(arguments);
        } catch (const service::configuration_error& wrong) {
            return wrong.problems();
        }
        return {};
    }
    [[nodiscard]] static service::setting setting_of(const service::configuration& from, const std::string& name)
    {
        for (const auto& one : from.settings) {
            if (one.name == name) {
                return one;
            }
        }
        ADD_FAILURE() << name;
        return {};
    }
    std::string write(std::string_view contents) { return folder.write("service.conf", contents).string(); }

    std::map<std::string, std::string> variables;
    host::test::temporary_folder folder;
};

TEST_F(configuration, comes_from_the_command_line_before_the_environment_before_the_file)
{
    const std::string file = write("preview = 1\nuri = file\nscan-timeout = 3\n");
    variables = {{"POSTWARDEN_SERVICE_PREVIEW", "2"}, {"POSTWARDEN_SERVICE_URI", "environment"}};
    const auto made = read({"--config", file, "--preview", "3"});
    EXPECT_EQ(made.values.server.preview, 3U);
    EXPECT_EQ(made.values.server.uri, "environment");
    EXPECT_EQ(made.values.server.scan_timeout, 3s);
    EXPECT_EQ(made.values.server.max_connections, 10000U);
    EXPECT_EQ(setting_of(made, "preview"), (service::setting{"preview", {"3"}, "command line"}));
    EXPECT_EQ(setting_of(made, "uri"),
              (service::setting{"uri", {"environment"}, "environment POSTWARDEN_SERVICE_URI"}));
    EXPECT_EQ(setting_of(made, "scan-timeout"), (service::setting{"scan-timeout", {"3"}, file + ":3"}));
    EXPECT_EQ(setting_of(made, "max-connections"), (service::setting{"max-connections", {"10000"}, "default"}));
}

TEST_F(configuration, takes_an_option_that_may_be_repeated_from_one_source)
{
    const std::string file = write("engine = [\"clamd:tcp:localhost:1,builtin\", builtin]\n");
    const auto from_file = read({"--config", file});
    EXPECT_THAT(from_file.values.server.engines, ElementsAre("clamd:tcp:localhost:1,builtin", "builtin"));
    EXPECT_THAT(service::printed(from_file),
                HasSubstr("\nengine = [\"clamd:tcp:localhost:1,builtin\", \"builtin\"] # " + file + ":1\n"));
    const auto again = read({"--config", write(service::printed(from_file))});
    EXPECT_EQ(again.values.server.engines, from_file.values.server.engines);
    variables = {{"POSTWARDEN_SERVICE_ENGINE", "builtin;clamd:tcp:localhost:2,builtin;builtin"}};
    EXPECT_THAT(read({"--config", file}).values.server.engines,
                ElementsAre("builtin", "clamd:tcp:localhost:2,builtin", "builtin"));
    EXPECT_THAT(read({"--config", file, "--engine", "builtin"}).values.server.engines, ElementsAre("builtin"));
}

TEST_F(configuration, finds_its_file_by_the_environment_too)
{
    variables = {{"POSTWARDEN_SERVICE_CONFIG", write("hold-presence = true\nlog = 'a b'\nlog-level = 300")}};
    const auto made = read({});
    EXPECT_TRUE(made.values.hold_presence);
    EXPECT_EQ(made.values.log_file, "a b");
    EXPECT_EQ(made.values.log_level, 300U);
}

TEST_F(configuration, is_read_anew_each_time)
{
    const std::string file = write("preview = 1");
    const service::configuration_reader reader({"--config", file}, [](const std::string&) { return std::nullopt; });
    const auto first = reader.read();
    write("preview = 2\nuri = other");
    const auto second = reader.read();
    EXPECT_EQ(second.values.server.preview, 2U);
    EXPECT_THAT(service::changed_options(first, second), ElementsAre("uri", "preview"));
    write("uri = webscan\npreview = 1");
    EXPECT_THAT(service::changed_options(first, reader.read()), ElementsAre());
}

TEST_F(configuration, names_the_nearest_key)
{
    const std::string file = write("prot = 1\nmax-bdoy = 1\n");
    EXPECT_THAT(problems({"--config", file}),
                ElementsAre(file + ":1: 'prot' is unknown; the nearest is 'port'",
                            file + ":2: 'max-bdoy' is unknown; the nearest is 'max-body'"));
}

TEST_F(configuration, names_everything_that_is_wrong)
{
    const std::string file = write("none = 1\npreview = 65537\nconfig = x\nprint-config = true\nport = [1, 2]\nlog\n"
                                   "max-body = x\nhold-presence = perhaps\nidle-timeout = -1\nversion = 1\na.b = 1");
    variables = {{"POSTWARDEN_SERVICE_IO_THREADS", "0"}};
    const auto found = problems({"--config", file});
    EXPECT_THAT(found, Contains(StartsWith("POSTWARDEN_SERVICE_IO_THREADS: --io-threads: ")));
    EXPECT_THAT(found, Contains(file + ":1: 'none' is unknown"));
    EXPECT_THAT(found, Contains(StartsWith(file + ":2: --preview: ")));
    EXPECT_THAT(found, Contains(file + ":3: 'config' is unknown"));
    EXPECT_THAT(found, Contains(file + ":4: 'print-config' is unknown"));
    EXPECT_THAT(found, Contains(file + ":5: 'port' has several values"));
    EXPECT_THAT(found, Contains(file + ":6: KEY = VALUE is expected"));
    EXPECT_THAT(found, Contains(StartsWith(file + ":7: --max-body: ")));
    EXPECT_THAT(found, Contains(StartsWith(file + ":8: ")));
    EXPECT_THAT(found, Contains(StartsWith(file + ":9: --idle-timeout: ")));
    EXPECT_THAT(found, Contains(file + ":10: 'version' is unknown"));
    EXPECT_THAT(found, Contains(file + ":11: 'a.b' is unknown"));
    EXPECT_EQ(found.size(), 12U) << testing::PrintToString(found);
    variables.clear();
    EXPECT_THAT(problems({"--config", file + "x"}), ElementsAre(StartsWith(file + "x: cannot be read: ")));
    EXPECT_THROW((void)read({"--preview", "x"}), CLI::ParseError);
}

TEST_F(configuration, that_was_printed_can_be_read)
{
    variables = {{"POSTWARDEN_SERVICE_URI", "a/b"}};
    const std::string file = write("log = \"#1, it's\"\nhold-presence = true");
    const auto made = read({"--config",         file,    "--idle-timeout", "0.5",    "--metrics-port",    "0",
                            "--block-name",     "*.exe", "--block-name",   "a b?",   "--block-type",      "image/*",
                            "--ignore-threat",  "PUA.*", "--notice",       "n.html", "--notice-language", "de",
                            "--when-unchecked", "block"});
    const std::string text = service::printed(made);
    EXPECT_THAT(text, HasSubstr("when-unchecked = \"block\" # command line\n"));
    EXPECT_THAT(text, HasSubstr("when-unreachable = \"pass\" # default\n"));
    EXPECT_THAT(text, HasSubstr("idle-timeout = 0.5 # command line\n"));
    EXPECT_THAT(text, HasSubstr("uri = \"a/b\" # environment POSTWARDEN_SERVICE_URI\n"));
    EXPECT_THAT(text, HasSubstr("log = \"#1, it's\" # " + file + ":1\n"));
    EXPECT_THAT(text, HasSubstr("log-level = 400 # default\n"));
    EXPECT_THAT(text, HasSubstr("max-connections = 10000 # default\n"));
    EXPECT_THAT(text, HasSubstr("hold-presence = true # " + file + ":2\n"));
    variables.clear();
    auto again = read({"--config", write(text)});
    // Apart from what the level follows from.
    EXPECT_THAT(service::changed_options(made, again), ElementsAre("log-level"));
    EXPECT_EQ(again.values.server.lists.forbidden_names, made.values.server.lists.forbidden_names);
    EXPECT_EQ(again.values.server.lists.forbidden_names.size(), 2U);
    EXPECT_EQ(again.values.server.policy.unchecked, service::treatment::block);
    // Nothing is lost.
    EXPECT_EQ(service::printed(again).find("has no value"), std::string::npos);
}

TEST_F(configuration, keeps_engines_and_their_alternatives)
{
    const std::vector<std::string> engines{"builtin", "clamd:tcp:localhost:3310,icap://[::1]:1345/av?a=b"};
    const auto made = read({"--engine", engines[0], "--engine", engines[1]});
    EXPECT_EQ(made.values.server.engines, engines);
    const std::string text = service::printed(made);
    EXPECT_THAT(text, HasSubstr("engine = [\"builtin\", \"clamd:tcp:localhost:3310,icap://[::1]:1345/av?a=b\"]"));
    EXPECT_EQ(read({"--config", write(text)}).values.server.engines, engines);
    EXPECT_EQ(read({"--config", write("engine = \"builtin,builtin\"\n")}).values.server.engines,
              std::vector<std::string>{"builtin,builtin"});
}

TEST_F(configuration, without_anything_is_that_of_the_defaults)
{
    const auto made = read({});
    const std::string text = service::printed(made);
    EXPECT_THAT(text, HasSubstr("port = 0 # default\n"));
    EXPECT_THAT(text, HasSubstr("hold-presence = false # default\n"));
    EXPECT_THAT(text, HasSubstr("# log has no value # default\n"));
    EXPECT_THAT(text, HasSubstr("log-level = 200 # default\n"));
    const auto again = read({"--config", write(text)});
    EXPECT_EQ(again.values.server.engines, made.values.server.engines);
    EXPECT_EQ(again.values.server.rate_period, made.values.server.rate_period);
}

TEST_F(configuration, is_checked_as_far_as_possible_without_a_start)
{
    EXPECT_THAT(service::check(read({}).values), ElementsAre());
    const auto found = service::check(
        read({"--uri", "a b", "--engine", "none", "--log", (folder.path() / "none" / "log").string()}).values);
    EXPECT_THAT(found, ElementsAre(HasSubstr("its folder does not exist"), HasSubstr("'a b' is no path of a service"),
                                   HasSubstr("'none'")));
    const auto log = folder.path() / "log";
    EXPECT_THAT(service::check(read({"--log", log.string()}).values), ElementsAre());
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_THAT(service::check(read({"--log", folder.path().string()}).values), ElementsAre(HasSubstr("is a folder")));
}

} // namespace configuration_test
