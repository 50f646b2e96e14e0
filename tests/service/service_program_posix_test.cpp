#include "service/engine/builtin_engine.h"
#include "service/engine/clamd_engine.h"
#include "tests/service/requests.h"
#include "tests/service/service_port_posix.h"
#include "tests/service/wire_client.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback_socket.h"
#include "tool/presence/lock_file_posix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace {

using test::child_process;
using test::port_of;
using test::wire_client;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* program = SERVICE_PROGRAM;
constexpr std::string_view heading = "listening on 127.0.0.1:";

struct ending
{
    child_process::exit_status status;
    std::string output;
    std::string errors;
};

/// Runs the program until it ends.
ending run(const std::vector<std::string>& arguments)
{
    child_process service(program, arguments);
    const auto status = service.wait();
    EXPECT_TRUE(status.has_value()) << "the service goes on";
    return {status.value_or(child_process::exit_status{-1, 0}), service.output(), service.errors()};
}

TEST(service_program, serves_until_a_signal_comes)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        child_process service(program, {"--port", "0"});
        const std::uint16_t port = port_of(service);
        wire_client client(port);
        EXPECT_EQ(client.ask(test::options_request()).status(), 200U);
        EXPECT_EQ(client.ask(test::mail_request("harmless")).status(), 204U);
        EXPECT_EQ(client.ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
        wire_client half(port);
        half.send("REQMOD icap");
        ASSERT_TRUE(service.kill(signal));
        EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
        EXPECT_TRUE(client.closed_by_service());
        EXPECT_TRUE(half.closed_by_service());
        EXPECT_EQ(service.output(), std::string(heading) + std::to_string(port) + "\n");
        EXPECT_EQ(service.errors(), "");
    }
}

TEST(service_program, listens_on_the_port_it_is_told)
{
    child_process first(program, {"--port", "0"});
    const std::uint16_t port = port_of(first);
    ASSERT_TRUE(first.kill(SIGTERM));
    EXPECT_EQ(first.wait(), (child_process::exit_status{0, 0}));
    child_process second(program, {"--port", std::to_string(port)});
    EXPECT_EQ(port_of(second), port);
}

TEST(service_program, says_that_its_port_is_taken)
{
    const auto listener = test::loopback_socket::listen();
    const ending ended = run({"--port", std::to_string(listener.port())});
    EXPECT_EQ(ended.status, (child_process::exit_status{1, 0}));
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors,
              "postwarden-service: port " + std::to_string(listener.port()) + ": Address already in use\n");
}

TEST(service_program, does_what_its_options_say)
{
    child_process service(program, {"--port", "0", "--uri", "a/b", "--preview", "31"});
    wire_client client(port_of(service));
    EXPECT_EQ(client.ask(test::options_request("icap://127.0.0.1/a/b")).field("Preview"), "31");
    EXPECT_EQ(client.ask(test::options_request()).status(), 404U);
}

TEST(service_program, keeps_to_the_limits_that_its_options_say)
{
    child_process service(program, {"--port", "0", "--max-body", "10", "--idle-timeout", "0.05"});
    const std::uint16_t port = port_of(service);
    wire_client client(port);
    EXPECT_EQ(client.ask(test::mail_request("0123456789")).status(), 204U);
    EXPECT_TRUE(client.closed_by_service());
    EXPECT_EQ(wire_client(port).ask(test::mail_request("0123456789a")).status(), 413U);
    child_process small(program, {"--port", "0", "--max-connections", "1"});
    const std::uint16_t small_port = port_of(small);
    wire_client busy(small_port);
    EXPECT_EQ(busy.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    EXPECT_EQ(wire_client(small_port).ask(test::mail_request("x")).status(), 503U);
}

/// Returns the port of a listener that exists no more.
std::uint16_t port_without_listener()
{
    return test::loopback_socket::listen().port();
}

TEST(service_program, says_by_default_what_goes_wrong)
{
    child_process service(
        program, {"--port", "0", "--engine", "clamd:tcp:127.0.0.1:" + std::to_string(port_without_listener())});
    wire_client client(port_of(service));
    EXPECT_EQ(client.ask(test::options_request()).status(), 200U);
    EXPECT_EQ(client.ask(test::health_request()).status(), 500U);
    EXPECT_EQ(client.ask(test::mail_request("x")).status(), 500U);
    ASSERT_TRUE(service.kill(SIGTERM));
    EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
    EXPECT_THAT(service.errors(), HasSubstr("the engine cannot be reached: connect: "));
    EXPECT_THAT(service.errors(), HasSubstr("could not judge an object: connect: "));
    EXPECT_THAT(service.errors(), testing::Not(HasSubstr("accepted")));
}

TEST(service_program, names_objects_only_to_those_who_ask_for_it)
{
    const std::string engine = "clamd:tcp:127.0.0.1:" + std::to_string(port_without_listener());
    const std::string fields = "Allow: 204\r\nX-Mail-Type: 2\r\nX-Mail-Attach-Name: c2VjcmV0LnR4dA==\r\n";
    const std::string request =
        test::respmod_head("GET http://host/secret.txt HTTP/1.1\r\n\r\n", test::object_head(1), fields) +
        test::chunk("x") + std::string(test::end_mark);
    const auto errors_of = [&](const std::vector<std::string>& options) {
        std::vector<std::string> arguments{"--port", "0", "--engine", engine};
        arguments.insert(arguments.end(), options.begin(), options.end());
        child_process service(program, arguments);
        EXPECT_EQ(wire_client(port_of(service)).ask(request).status(), 500U);
        EXPECT_TRUE(service.kill(SIGTERM));
        EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
        return service.errors();
    };
    const std::string usual = errors_of({});
    EXPECT_THAT(usual, HasSubstr("could not judge an object: connect: "));
    EXPECT_THAT(usual, testing::Not(HasSubstr("secret")));
    EXPECT_THAT(errors_of({"--log-level", "300"}), HasSubstr(") could not judge 'secret.txt'"));
}

TEST(service_program, withholds_what_its_policies_say)
{
    const std::string engine = "clamd:tcp:127.0.0.1:" + std::to_string(port_without_listener());
    child_process unreachable(program, {"--port", "0", "--engine", engine, "--when-unreachable", "block"});
    EXPECT_EQ(wire_client(port_of(unreachable)).ask(test::mail_request("x")).field("X-Infection-Found"),
              "Type=0;Resolution=2;Threat=Unchecked.NoEngine;");
    child_process unchecked(program, {"--port", "0", "--max-body", "10", "--when-unchecked", "block"});
    EXPECT_EQ(wire_client(port_of(unchecked)).ask(test::mail_request("0123456789a")).field("X-Infection-Found"),
              "Type=0;Resolution=2;Threat=Unchecked.Size;");
}

TEST(service_program, keeps_the_lists_that_its_options_say)
{
    child_process service(program, {"--port", "0", "--block-name", "*.exe", "--block-name", "*.com", "--block-type",
                                    "image/*", "--ignore-threat", "eicar*"});
    wire_client client(port_of(service));
    for (const std::string_view object : {"a.exe", "b.com", "c.txt"}) {
        const std::string request = "GET http://host/" + std::string(object) + " HTTP/1.1\r\n\r\n";
        const auto reply = client.ask(test::respmod_head(request, test::object_head(1)) + "1\r\nx\r\n0\r\n\r\n");
        EXPECT_EQ(reply.field("X-Infection-Found"),
                  object == "c.txt" ? "" : "Type=0;Resolution=2;Threat=Blocked.Name;");
    }
    EXPECT_EQ(client.ask(test::mail_request(service::antivirus_test_text())).status(), 204U);
}

TEST(service_program, answers_in_the_language_that_its_options_say)
{
    child_process service(program, {"--port", "0", "--notice-language", "de"});
    EXPECT_THAT(wire_client(port_of(service)).ask(test::mail_request(service::antivirus_test_text())).object(),
                HasSubstr("<html lang=\"de\">"));
    const ending ended = run({"--port", "0", "--notice", "/dev/null"});
    EXPECT_EQ(ended.status, (child_process::exit_status{1, 0}));
    EXPECT_EQ(ended.errors, "postwarden-service: the notice '/dev/null': not a file\n");
}

TEST(service_program, logs_to_standard_error_when_a_level_is_given)
{
    child_process service(program, {"--port", "0", "--log-level", "300"});
    wire_client client(port_of(service));
    EXPECT_EQ(client.ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
    ASSERT_TRUE(service.kill(SIGTERM));
    EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
    EXPECT_THAT(service.errors(), HasSubstr("blocked '': EICAR-Test-File"));
    EXPECT_THAT(service.errors(), testing::Not(HasSubstr("accepted")));
}

bool has_temporary_file(int process)
{
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
        std::error_code ignored;
        const std::string target = std::filesystem::read_symlink(entry.path(), ignored).string();
        if (target.ends_with(" (deleted)")) { // other programs cannot find the file of an object
            return true;
        }
    }
    return false;
}

TEST(service_program, keeps_objects_in_memory_up_to_a_size)
{
    const struct
    {
        std::string memory_body;
        bool file;
    } cases[] = {{"1048576", false}, {"1000000", true}, {"0", true}};
    for (const auto& [memory_body, file] : cases) {
        child_process service(program, {"--port", "0", "--memory-body", memory_body});
        wire_client client(port_of(service));
        // The response to the preview shows that the object has its place.
        const std::string object(std::size_t{1} << 20U, 'x');
        const std::string request = test::object_request_head(object.size(), 4) + test::bare_preview(object, 4);
        EXPECT_EQ(client.ask(request).status(), 100U);
        EXPECT_EQ(has_temporary_file(service.id()), file) << memory_body;
        EXPECT_EQ(client.ask(test::chunk(object.substr(4)) + "0\r\n\r\n").status(), 204U);
    }
}

TEST(service_program, judges_by_all_the_engines_it_is_given)
{
    const std::string gone = "clamd:tcp:127.0.0.1:" + std::to_string(port_without_listener());
    child_process both(program, {"--port", "0", "--engine", "builtin", "--engine", gone, "--clamd-streams", "0"});
    wire_client first(port_of(both));
    EXPECT_EQ(first.ask(test::mail_request("harmless")).status(), 500U);
    EXPECT_EQ(first.ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
    child_process either(program, {"--port", "0", "--engine", gone + ",builtin"});
    wire_client second(port_of(either));
    EXPECT_EQ(second.ask(test::mail_request("harmless")).status(), 204U);
    EXPECT_EQ(second.ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
}

TEST(service_program, tells_its_version_and_its_options)
{
    const ending version = run({"--version"});
    EXPECT_EQ(version.status, (child_process::exit_status{0, 0}));
    EXPECT_THAT(version.output,
                testing::MatchesRegex("postwarden-service [0-9]+\\.[0-9]+\\.[0-9]+( \\([0-9a-f]+(-dirty)?\\))?\n"));
    const ending help = run({"--help"});
    EXPECT_EQ(help.status, (child_process::exit_status{0, 0}));
    for (const std::string_view option : {"--port",
                                          "--uri",
                                          "--preview",
                                          "--engine",
                                          "--hold-presence",
                                          "--log",
                                          "--log-level",
                                          "--version",
                                          "--max-connections",
                                          "--max-body",
                                          "--body-budget",
                                          "--memory-body",
                                          "--io-threads",
                                          "--scan-threads",
                                          "--idle-timeout",
                                          "--stall-timeout",
                                          "--linger-timeout",
                                          "--clamd-streams",
                                          "--when-unreachable",
                                          "--when-unchecked",
                                          "--ignore-threat",
                                          "--block-name",
                                          "--block-type",
                                          "--notice",
                                          "--notice-language",
                                          "--cache-entries"}) {
        EXPECT_THAT(help.output, HasSubstr(std::string(option)));
    }
    EXPECT_EQ(help.errors, "");
}

TEST(service_program, refuses_a_command_line_that_is_wrong_in_one_line)
{
    const std::vector<std::vector<std::string>> wrong{
        {"--unknown"},
        {"surplus"},
        {"--port"},
        {"--port", "65536"},
        {"--port", "-1"},
        {"--port", "x"},
        {"--preview", "65537"},
        {"--preview", "-1"},
        {"--log-level", "601"},
        {"--engine", "none"},
        {"--engine", "builtin", "builtin"},
        {"--engine", "builtin", "--engine", "none"},
        {"--engine", "builtin,none"},
        {"--engine", "icap://host"},
        {"--clamd-streams", "-1"},
        {"--engine", "clamd:tcp:192.0.2.1:3310"},
        {"--engine", "clamd:unix:"},
        {"--engine", "clamd:unix:/" + std::string(200, 'x')},
        {"--uri", "a b"},
        {"--uri", ""},
        {"--max-connections", "0"},
        {"--max-body", "0"},
        {"--body-budget", "0"},
        {"--io-threads", "0"},
        {"--scan-threads", "0"},
        {"--stall-timeout", "0"},
        {"--idle-timeout", "-1"},
        {"--linger-timeout", "x"},
        {"--head-timeout", "0"},
        {"--scan-timeout", "0"},
        {"--scan-timeout", "nan"},
        {"--idle-timeout", "inf"},
        {"--leave-timeout", "0"},
        {"--rate-period", "0"},
        {"--min-rate", "-1"},
        {"--probe-interval", "86401"},
        {"--when-unreachable", "1"},
        {"--block-name", "*.exe", "*.com"},
        {"--block-name", "dir/*.exe"},
        {"--block-type", "exe"},
        {"--cache-entries", "-1"},
        {"--cache-entries", "16777217"},
        {"--notice-language", "fr"},
        {"--notice", program},
        {"--ignore-threat", ""},
        {"--when-unchecked", "maybe"},
    };
    for (const auto& arguments : wrong) {
        const ending ended = run(arguments);
        const std::string shown = testing::PrintToString(arguments);
        EXPECT_EQ(ended.status, (child_process::exit_status{2, 0})) << shown;
        EXPECT_THAT(ended.errors, StartsWith("postwarden-service: ")) << shown;
        EXPECT_EQ(ended.errors.find('\n'), ended.errors.size() - 1) << shown;
        EXPECT_EQ(ended.output, "") << shown;
    }
}

/// A folder for the presence of the service, passed to the programs that are started during the object's lifetime.
class presence_folder
{
public:
    presence_folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "service-XXXXXX").string();
        base_ = ::mkdtemp(pattern.data());
        ::setenv("POSTWARDEN_RUNTIME_DIR", (base_ + "/presence").c_str(), 1);
    }
    presence_folder(const presence_folder&) = delete;
    presence_folder& operator=(const presence_folder&) = delete;
    ~presence_folder()
    {
        ::unsetenv("POSTWARDEN_RUNTIME_DIR");
        std::filesystem::remove_all(base_);
    }
    [[nodiscard]] static bool is_held()
    {
        return presence::look_at(presence::own_lock_place()) == presence::lock_state::held;
    }

private:
    std::string base_;
};

TEST(service_program, shows_its_presence_only_when_told_and_only_while_it_runs)
{
    const presence_folder folder;
    {
        child_process service(program, {"--port", "0"});
        port_of(service);
        EXPECT_FALSE(folder.is_held());
    }
    for (const int signal : {SIGTERM, SIGKILL}) {
        child_process service(program, {"--port", "0", "--hold-presence"});
        port_of(service);
        EXPECT_TRUE(folder.is_held());
        ASSERT_TRUE(service.kill(signal));
        ASSERT_TRUE(service.wait().has_value());
        EXPECT_FALSE(folder.is_held()) << signal;
    }
}

TEST(service_program, says_that_another_shows_the_presence)
{
    const presence_folder folder;
    child_process first(program, {"--port", "0", "--hold-presence"});
    port_of(first);
    const ending second = run({"--port", "0", "--hold-presence"});
    EXPECT_EQ(second.status, (child_process::exit_status{1, 0}));
    EXPECT_EQ(second.output, "");
    EXPECT_THAT(second.errors, StartsWith("postwarden-service: the presence cannot be shown: "));
    EXPECT_THAT(second.errors, HasSubstr("another service holds it"));
    EXPECT_TRUE(folder.is_held());
}

TEST(service_program, says_that_its_log_cannot_be_written)
{
    const ending ended = run({"--port", "0", "--log", "/dev/null/log"});
    EXPECT_EQ(ended.status, (child_process::exit_status{1, 0}));
    EXPECT_THAT(ended.errors, StartsWith("postwarden-service: "));
}

TEST(unix_endpoint, is_bounded_by_what_an_address_holds)
{
    EXPECT_NO_THROW((void)service::clamd_unix_endpoint("/" + std::string(106, 'x')));
    EXPECT_THROW((void)service::clamd_unix_endpoint("/" + std::string(107, 'x')), std::invalid_argument);
    EXPECT_THROW((void)service::clamd_unix_endpoint(""), std::invalid_argument);
}

} // namespace
