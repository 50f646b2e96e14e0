#include "doctor/port_probe.h"
#include "doctor/port_row.h"
#include "tests/doctor/findings.h"
#include "tests/support/scripted_peer.h"

#include <optional>
#include <stdexcept>

namespace port_row_test {

using namespace doctor;
using namespace std::chrono_literals;
using test::conversation;

constexpr auto long_enough = 60s;

struct table final : port_table
{
    std::optional<port_owner> owner;

    port_owner owner_of(const endpoint& /*peer*/) override
    {
        if (!owner) {
            throw std::runtime_error("the table is closed");
        }
        return *owner;
    }
};

const endpoint peer{"127.0.0.1", 1345};

TEST(port_row, contains_the_owner)
{
    table ports;
    for (const char* const program : {"/usr/sbin/postwarden-service", "C:\\folder\\postwarden-service.exe"}) {
        ports.owner = port_owner{program, "17", "user 5"};
        EXPECT_THAT(port_row(peer, "", ports),
                    is_finding(row_state::ok,
                               std::string("127.0.0.1:1345 is open, owned by ") + program + ", process 17, user 5",
                               ""));
    }
}

TEST(port_row, warns_of_another_program)
{
    table ports;
    ports.owner = port_owner{"/home/eve/postwarden-service2", "17", ""};
    EXPECT_THAT(port_row(peer, "", ports), is_finding(row_state::warning, "eve", "Another program"));
}

TEST(port_row, is_ok_if_the_owner_is_not_shown)
{
    table ports;
    EXPECT_THAT(port_row(peer, "", ports), is_finding(row_state::ok, "not known: the table is closed", ""));
    ports.owner = port_owner{"", "", "user 5"};
    EXPECT_THAT(port_row(peer, "", ports), is_finding(row_state::ok, "user 5; only an administrator sees", ""));
}

TEST(port_row, fails_with_the_reason)
{
    table ports;
    EXPECT_THAT(port_row(peer, "connection refused", ports),
                is_finding(row_state::failed, "127.0.0.1:1345: connection refused", "Start the scanning service"));
}

TEST(port_probe, finds_an_open_port)
{
    const auto listening = test::loopback_socket::listen();
    EXPECT_EQ(refusal_of({"127.0.0.1", listening.port()}, long_enough), "");
}

TEST(port_probe, has_a_refusal_in_words)
{
    const auto closed = test::loopback_socket::listen().port();
    EXPECT_EQ(refusal_of({"127.0.0.1", closed}, long_enough), "connection refused: no program listens there");
    EXPECT_THROW((void)http_get({"127.0.0.1", closed}, "/", long_enough), std::runtime_error);
}

TEST(port_probe, reads_a_page)
{
    test::scripted_peer server({conversation().expect_until("\r\n\r\n").send("HTTP/1.1 200 OK\r\n\r\nall").close()});
    EXPECT_EQ(http_get({"127.0.0.1", server.port()}, "/metrics", long_enough), "HTTP/1.1 200 OK\r\n\r\nall");
    EXPECT_THAT(server.received(0), testing::StartsWith("GET /metrics HTTP/1.1\r\nHost: 127.0.0.1:"));
}

TEST(port_probe, does_not_wait_for_a_silent_server)
{
    test::scripted_peer server({conversation().expect_until("\r\n\r\n").wait()});
    try {
        (void)http_get({"127.0.0.1", server.port()}, "/metrics", 20ms);
        FAIL();
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "no answer in time");
    }
    server.release();
}

TEST(port_probe, asks_this_machine_only)
{
    EXPECT_EQ(loopback_address("localhost"), "127.0.0.1");
    EXPECT_EQ(loopback_address("127.0.0.2"), "127.0.0.2");
    for (const char* const host : {"", "10.0.0.1", "0.0.0.0", "::1", "example.org", "127.0.0.1:1", "127.0.0.256"}) {
        EXPECT_THROW((void)loopback_address(host), std::invalid_argument) << host;
    }
}

} // namespace port_row_test
