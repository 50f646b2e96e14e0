#include "tests/service/requests.h"
#include "tests/service/service_port_posix.h"
#include "tests/service/wire_client.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback_socket.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace configuration_program_test {

using test::child_process;
using testing::HasSubstr;

constexpr const char* program = SERVICE_PROGRAM;

/// A program that has ended.
struct ended_program
{
    explicit ended_program(const std::vector<std::string>& arguments)
    {
        child_process service(program, arguments);
        const auto found = service.wait();
        EXPECT_TRUE(found.has_value());
        status = found.value_or(child_process::exit_status{-1, 0}).code;
        output = service.output();
        errors = service.errors();
    }
    int status = -1;
    std::string output;
    std::string errors;
};

class configured_program : public testing::Test
{
protected:
    configured_program() { ::setenv("POSTWARDEN_SERVICE_PREVIEW", "31", 1); }
    ~configured_program() override { ::unsetenv("POSTWARDEN_SERVICE_PREVIEW"); }
    std::string write(std::string_view contents) { return folder.write("service.conf", contents).string(); }

    host::test::temporary_folder folder;
};

TEST_F(configured_program, takes_its_options_from_its_file_and_its_environment)
{
    child_process service(program, {"--config", write("uri = a/b\npreview = 1\nport = 1"), "--port", "0"});
    test::wire_client client(test::port_of(service));
    EXPECT_EQ(client.ask(test::options_request("icap://127.0.0.1/a/b")).field("Preview"), "31");
    EXPECT_EQ(client.ask(test::options_request()).status(), 404U);
}

TEST_F(configured_program, names_all_that_is_wrong_and_ends)
{
    const std::string file = write("a = 1\npreview = x\n");
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--config", file},
                                                      {"--check-config", "--config", file},
                                                      {"--print-config", "--config", file}}) {
        const ended_program ended(arguments);
        EXPECT_EQ(ended.status, 2);
        EXPECT_EQ(ended.output, "");
        EXPECT_THAT(ended.errors, testing::StartsWith("postwarden-service: " + file + ":1: 'a' is unknown\n" +
                                                      "postwarden-service: " + file + ":2: "));
    }
}

TEST_F(configured_program, names_the_nearest_option)
{
    const ended_program ended({"--engne", "builtin"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.errors, "postwarden-service: there is no option \"--engne\"; the nearest is \"--engine\" (--help "
                            "shows the options)\n");
}

TEST_F(configured_program, checks_its_options_without_a_port)
{
    const auto listener = test::loopback_socket::listen();
    const ended_program valid({"--check-config", "--port", std::to_string(listener.port())});
    EXPECT_EQ(valid.status, 0);
    EXPECT_EQ(valid.output, "the configuration is valid\n");
    EXPECT_EQ(valid.errors, "");
    const ended_program wrong({"--check-config", "--engine", "none", "--uri", "?"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.output, "");
    EXPECT_THAT(wrong.errors, HasSubstr("postwarden-service: '?' is no path"));
    EXPECT_THAT(wrong.errors, HasSubstr("'none'"));
}

TEST_F(configured_program, prints_its_options)
{
    const ended_program printed({"--print-config", "--uri", "x"});
    EXPECT_EQ(printed.status, 0);
    EXPECT_EQ(printed.errors, "");
    EXPECT_THAT(printed.output, HasSubstr("\nuri = \"x\" # command line\n"));
    EXPECT_THAT(printed.output, HasSubstr("\npreview = 31 # environment POSTWARDEN_SERVICE_PREVIEW\n"));
    const ended_program checked({"--check-config", "--config", write(printed.output)});
    EXPECT_EQ(checked.status, 0) << checked.errors;
}

TEST_F(configured_program, prints_the_port_of_its_metrics_behind_its_own)
{
    child_process service(program, {"--metrics-port", "0"});
    (void)test::port_of(service);
    const std::string line = service.read_line().value_or("");
    constexpr std::string_view heading = "metrics on 127.0.0.1:";
    ASSERT_THAT(line, testing::StartsWith(std::string(heading)));
    test::wire_client client(static_cast<std::uint16_t>(std::stoi(line.substr(heading.size()))));
    client.send("GET /metrics HTTP/1.1\r\n\r\n");
    EXPECT_THAT(client.read_to_end(), HasSubstr("\npostwarden_service_connections 0\n"));
}

TEST_F(configured_program, checks_the_template_of_its_notices_and_its_lists)
{
    const auto notice = [this](std::string_view text) { return folder.write("notice.html", text).string(); };
    const std::string name = notice("<p>\n{{nane}}");
    const ended_program unknown({"--check-config", "--notice", name, "--engine", "none"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.output, "");
    EXPECT_THAT(unknown.errors, HasSubstr("the notice '" + name + "': line 2: '{{nane}}' is not known"));
    EXPECT_THAT(unknown.errors, HasSubstr("'none'"));
    const ended_program missing({"--check-config", "--notice", name + ".none"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_THAT(missing.errors, HasSubstr("the notice '" + name + ".none': "));
    const ended_program lists({"--check-config", "--notice", name, "--block-name", "a/b"});
    EXPECT_EQ(lists.status, 2);
    EXPECT_THAT(lists.errors, HasSubstr("{{nane}}"));
    EXPECT_THAT(lists.errors, HasSubstr("'a/b' is no pattern of a name"));
    notice("<p>{{name}}</p>");
    const ended_program valid({"--check-config", "--notice", name, "--block-name", "*.exe"});
    EXPECT_EQ(valid.status, 0);
    EXPECT_EQ(valid.output, "the configuration is valid\n");
}

} // namespace configuration_program_test
