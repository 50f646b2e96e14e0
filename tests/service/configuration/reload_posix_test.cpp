// The program reads its configuration again when a signal asks for it.

#include "service/engine/builtin_engine.h"
#include "tests/service/requests.h"
#include "tests/service/service_port_posix.h"
#include "tests/service/wire_client.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace reload_test {

using namespace std::chrono_literals;
using test::child_process;
using test::wire_client;
using testing::HasSubstr;
using testing::Not;

class reload : public testing::Test
{
protected:
    void start(std::string_view contents, std::vector<std::string> further = {})
    {
        configure(contents);
        std::vector<std::string> arguments{"--config", file()};
        arguments.insert(arguments.end(), further.begin(), further.end());
        service.emplace(SERVICE_PROGRAM, arguments);
        port = test::port_of(*service);
    }
    void configure(std::string_view contents) const { folder.write("service.conf", contents); }
    [[nodiscard]] std::string file() const { return (folder.path() / "service.conf").string(); }
    [[nodiscard]] std::string contents_of(const std::string& name) const
    {
        std::ifstream input(folder.path() / name);
        return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    }
    /// Sends the signal and waits for a line about it. Returns the log; that of the file `name` if one is specified.
    [[nodiscard]] std::string reloaded(const std::string& name = {})
    {
        const auto log = [&] { return name.empty() ? service->errors() : contents_of(name); };
        const std::size_t before = log().size();
        EXPECT_TRUE(service->kill(SIGHUP));
        std::string added;
        for (int i = 0; i < 30000 && added.find("read again") == std::string::npos; ++i) {
            std::this_thread::sleep_for(1ms);
            const std::string all = log();
            added = all.substr(std::min(before, all.size()));
        }
        return added;
    }
    void end()
    {
        ASSERT_TRUE(service->kill(SIGTERM));
        EXPECT_EQ(service->wait(), (child_process::exit_status{0, 0}));
    }

    host::test::temporary_folder folder;
    std::optional<child_process> service;
    std::uint16_t port = 0;
};

TEST_F(reload, applies_the_file_and_keeps_the_connections)
{
    start("preview = 1\nmax-body = 1000\n");
    wire_client idle(port);
    EXPECT_EQ(idle.ask(test::options_request()).field("Preview"), "1");
    wire_client busy(port);
    EXPECT_EQ(busy.ask(test::object_request_head(20, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    configure("preview = 2\nmax-body = 10");
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was read again: preview, max-body\n"));
    EXPECT_EQ(idle.ask(test::options_request()).field("Preview"), "2");
    EXPECT_EQ(busy.ask(test::chunk("4567890123456789") + "0\r\n\r\n").status(), 204U);
    EXPECT_EQ(busy.ask(test::mail_request("01234567890")).status(), 413U);
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was read again: nothing has changed\n"));
    end();
}

TEST_F(reload, keeps_everything_if_the_file_is_wrong)
{
    start("preview = 1\n");
    wire_client client(port);
    configure("preview = 2\nmax-body = x\n");
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was not read again: " + file() + ":2: --max-body: "));
    EXPECT_EQ(client.ask(test::options_request()).field("Preview"), "1");
    configure("preview = 2\nengine = none\n");
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was not read again: unknown engine 'none'"));
    EXPECT_EQ(client.ask(test::options_request()).field("Preview"), "1");
    std::filesystem::remove(file());
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was not read again: " + file() + ": cannot be read: "));
    configure("preview = 2\n");
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was read again: preview\n"));
    EXPECT_EQ(client.ask(test::options_request()).field("Preview"), "2");
    end();
}

TEST_F(reload, says_what_needs_a_restart)
{
    start("uri = a\nscan-threads = 1\npreview = 1");
    configure("uri = b\nscan-threads = 2\npreview = 2\nport = 1\nmemory-body = 1\nhold-presence = true\n");
    const std::string log = reloaded();
    EXPECT_THAT(log, HasSubstr("the configuration was read again: preview\n"));
    wire_client client(port);
    EXPECT_EQ(client.ask(test::options_request("icap://127.0.0.1/a")).field("Preview"), "2");
    EXPECT_EQ(client.ask(test::options_request("icap://127.0.0.1/b")).status(), 404U);
    // Says so as long as it is true.
    configure("uri = b\nscan-threads = 1\npreview = 2\n");
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was read again: nothing has changed\n"));
    end();
    const std::string all = service->errors();
    EXPECT_THAT(
        all,
        HasSubstr("a change of these options needs a restart: port, uri, memory-body, scan-threads, hold-presence\n"));
    EXPECT_THAT(all, HasSubstr("a change of these options needs a restart: uri\n"));
}

TEST_F(reload, keeps_what_the_command_line_says)
{
    start("preview = 1\n", {"--preview", "3"});
    configure("preview = 2\n");
    EXPECT_THAT(reloaded(), HasSubstr("the configuration was read again: nothing has changed\n"));
    EXPECT_EQ(wire_client(port).ask(test::options_request()).field("Preview"), "3");
    end();
}

TEST_F(reload, opens_the_log_anew)
{
    const auto log = [this](const std::string& name) { return "log = '" + (folder.path() / name).string() + "'\n"; };
    start(log("log"));
    std::filesystem::rename(folder.path() / "log", folder.path() / "log.1");
    EXPECT_THAT(reloaded("log"), HasSubstr("the configuration was read again: nothing has changed"));
    EXPECT_THAT(contents_of("log.1"), Not(HasSubstr("read again")));
    wire_client client(port);
    EXPECT_EQ(client.ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
    EXPECT_THAT(contents_of("log"), HasSubstr("blocked"));
    EXPECT_THAT(contents_of("log.1"), Not(HasSubstr("blocked")));
    configure(log("other") + "log-level = 200");
    EXPECT_THAT(reloaded("other"), HasSubstr("the configuration was read again: log, log-level"));
    EXPECT_EQ(client.ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
    EXPECT_THAT(contents_of("other"), Not(HasSubstr("blocked")));
    end();
}

} // namespace reload_test
