// Descriptors to the brim.

#include "service/accept_reserve.h"
#include "service/descriptors.h"
#include "tests/service/requests.h"
#include "tests/service/service_port_posix.h"
#include "tests/service/wire_client.h"
#include "tests/support/child_process.h"
#include "tests/support/log_capture.h"
#include "tests/support/loopback_socket.h"
#include "tests/support/resource_limit_posix.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace descriptors_posix_test {

using namespace std::chrono_literals;
namespace asio = boost::asio;
using test::child_process;
using test::loopback_socket;
using test::wire_client;

std::size_t occurrences_of(const std::string& part, const std::string& text)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

/// Reads until the other side ends the connection.
std::string all_of(loopback_socket& peer)
{
    std::string text;
    char byte = 0;
    while (peer.wait_readable(30000) && peer.receive(&byte, 1) == 1) {
        text += byte;
    }
    return text;
}

TEST(descriptors, are_divided_between_connections_and_files)
{
    EXPECT_EQ(service::connections_with(20128), 10000U);
    EXPECT_EQ(service::body_files_with(20128, 10000), 5000U);
    EXPECT_EQ(service::body_files_with(20128, 100), 9950U);
    EXPECT_EQ(service::connections_with(10), 1U);
    EXPECT_EQ(service::body_files_with(10, 1), 1U);
}

TEST(accept_reserve, refuses_who_waits_without_another_descriptor)
{
    asio::io_context io;
    asio::ip::tcp::acceptor listener(io, {asio::ip::address_v4::loopback(), 0});
    listener.non_blocking(true);
    service::accept_reserve reserve;
    for (int round = 0; round < 2; ++round) {
        std::vector<loopback_socket> peers;
        for (int i = 0; i < 3; ++i) {
            peers.push_back(loopback_socket::connect(listener.local_endpoint().port()));
        }
        {
            const test::descriptor_limit limit(0);
            asio::ip::tcp::socket accepted(io);
            boost::system::error_code error;
            listener.accept(accepted, error);
            EXPECT_EQ(error, asio::error::no_descriptors);
            EXPECT_EQ(reserve.refuse_waiting(listener, io, "go away"), 3U);
            EXPECT_EQ(reserve.refuse_waiting(listener, io, "go away"), 0U);
        }
        for (auto& peer : peers) {
            EXPECT_EQ(all_of(peer), "go away");
        }
    }
}

TEST(accept_reserve, logs_the_beginning_and_the_end_of_failures)
{
    const test::log_capture log;
    service::accept_reserve reserve;
    const auto error = boost::system::error_code(asio::error::no_descriptors);
    const service::accept_reserve::clock::time_point start{};
    reserve.worked(start);
    for (const auto at : {0ms, 50ms, 1000ms, 1999ms}) {
        reserve.failed(error, start + at);
        reserve.worked(start + at + 999ms);
    }
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"could not accept: " + error.message()}));
    reserve.worked(start + 2999ms);
    reserve.worked(start + 5s);
    EXPECT_EQ(log.texts().size(), 2U);
    EXPECT_EQ(log.texts().back(), "connections are accepted again");
    reserve.failed(error, start + 6s);
    EXPECT_EQ(log.texts().size(), 3U);
}

/// Limits the descriptors of another process to those below `most`. The hard limit remains, so that this can be undone.
void limit_descriptors(int process, rlim_t most)
{
    rlimit limit{};
    ASSERT_EQ(::prlimit(process, RLIMIT_NOFILE, nullptr, &limit), 0);
    limit.rlim_cur = most;
    ASSERT_EQ(::prlimit(process, RLIMIT_NOFILE, &limit, nullptr), 0);
}

/// Returns the lowest descriptor that another process has not opened.
int free_descriptor(int process)
{
    const std::filesystem::path folder = "/proc/" + std::to_string(process) + "/fd";
    int descriptor = 0;
    while (std::filesystem::is_symlink(folder / std::to_string(descriptor))) {
        ++descriptor;
    }
    return descriptor;
}

TEST(descriptors, that_are_used_up_keep_nobody_waiting)
{
    child_process service(SERVICE_PROGRAM, {"--port", "0"});
    const std::uint16_t port = test::port_of(service);
    std::vector<wire_client> busy;
    for (int i = 0; i < 5; ++i) {
        busy.emplace_back(port);
        ASSERT_EQ(busy.back().ask(test::object_request_head(10, 4) + test::standard_preview("0123456789", 4)).status(),
                  100U);
    }
    limit_descriptors(service.id(), static_cast<rlim_t>(free_descriptor(service.id())));
    for (int i = 0; i < 50; ++i) {
        wire_client newcomer(port);
        ASSERT_TRUE(newcomer.is_connected());
        newcomer.send(test::mail_request("x"));
        ASSERT_TRUE(newcomer.socket().wait_readable(30000)) << "newcomer " << i << " waits";
        const std::uint32_t status = newcomer.read_answer().status();
        EXPECT_TRUE(status == 503 || status == 0) << status;
    }
    for (auto& client : busy) {
        EXPECT_EQ(client.ask(test::chunk("456789") + std::string(test::end_mark)).status(), 204U);
    }
    EXPECT_EQ(occurrences_of("could not accept: ", service.errors()), 1U) << service.errors();
    limit_descriptors(service.id(), 1000);
    for (int i = 0; i < 3000 && service.errors().find("accepted again") == std::string::npos; ++i) {
        EXPECT_EQ(wire_client(port).ask(test::mail_request("x")).status(), 204U);
        std::this_thread::sleep_for(10ms);
    }
    ASSERT_TRUE(service.kill(SIGTERM));
    EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
    EXPECT_EQ(occurrences_of("could not accept: ", service.errors()), 1U) << service.errors();
    EXPECT_EQ(occurrences_of("connections are accepted again", service.errors()), 1U) << service.errors();
    EXPECT_EQ(occurrences_of("\n", service.errors()), 2U) << service.errors();
}

} // namespace descriptors_posix_test
