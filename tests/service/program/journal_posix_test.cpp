#include "service/engine/builtin_engine.h"
#include "service/journal.h"
#include "tests/service/requests.h"
#include "tests/service/service_port_posix.h"
#include "tests/service/wire_client.h"
#include "tests/support/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace journal_test {

using service::journal_prefix;
using test::child_process;
using test::wire_client;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

// As the manager starts it: the variable contains the device and the inode of standard error.
constexpr const char* within_journal = R"(JOURNAL_STREAM=$(stat -L -c %d:%i /proc/self/fd/2) exec "$0" "$@")";

TEST(journal_prefix, follows_the_level)
{
    EXPECT_EQ(journal_prefix(1), "<3>");
    EXPECT_EQ(journal_prefix(200), "<3>");
    EXPECT_EQ(journal_prefix(201), "<5>");
    EXPECT_EQ(journal_prefix(300), "<5>");
    EXPECT_EQ(journal_prefix(301), "<6>");
    EXPECT_EQ(journal_prefix(400), "<6>");
    EXPECT_EQ(journal_prefix(401), "<7>");
    EXPECT_EQ(journal_prefix(500), "<7>");
}

/// Lets a service reload and block an object, and returns what it has written to standard error.
std::string errors_of_life(child_process& service)
{
    wire_client client(test::port_of(service));
    EXPECT_EQ(client.ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
    EXPECT_TRUE(service.kill(SIGTERM));
    EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
    return service.errors();
}

TEST(journal, has_lines_with_priorities)
{
    child_process service("sh", {"-c", within_journal, SERVICE_PROGRAM, "--port", "0", "--log-level", "500"});
    const std::string errors = errors_of_life(service);
    EXPECT_THAT(errors, ContainsRegex("(^|\n)<5>300 service [0-9]+ "));
    EXPECT_THAT(errors, Not(ContainsRegex("(^|\n)[^<]")));
}

TEST(journal, has_the_reason_why_the_program_ended)
{
    child_process service("sh", {"-c", within_journal, SERVICE_PROGRAM, "--engine", "none"});
    EXPECT_EQ(service.wait(), (child_process::exit_status{2, 0}));
    EXPECT_THAT(service.errors(), testing::StartsWith("<3>postwarden-service: unknown engine 'none'"));
}

TEST(journal, is_no_other_stream)
{
    // As in a program whose standard error was redirected after the manager had started it.
    child_process service("env", {"JOURNAL_STREAM=1:2", SERVICE_PROGRAM, "--port", "0", "--log-level", "300"});
    const std::string errors = errors_of_life(service);
    EXPECT_THAT(errors, HasSubstr(" 300 service "));
    EXPECT_THAT(errors, Not(HasSubstr("<5>")));
}

} // namespace journal_test
