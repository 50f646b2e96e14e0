// Thousands of connections to the program itself.

#include "tests/service/requests.h"
#include "tests/service/service_port_posix.h"
#include "tests/service/wire_client.h"
#include "tests/support/child_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

namespace crowd_posix_test {

using test::child_process;
using test::port_of;
using test::wire_client;

constexpr std::size_t mebibyte = 1U << 20U;

/// The resident memory of a process, in bytes.
std::size_t memory_of(int process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    constexpr std::string_view name = "VmRSS:";
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stoul(line.substr(name.size())) * 1024;
        }
    }
    return 0;
}

/// Raises the number of descriptors of this process as far as possible. Returns the connections that it can open.
std::size_t possible_connections()
{
    rlimit limit{};
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    constexpr std::size_t others = 200;
    return static_cast<std::size_t>(limit.rlim_cur) / 2 - others;
}

TEST(large_crowd, needs_little_memory_and_keeps_nobody_out)
{
    const std::size_t peers = std::min<std::size_t>(possible_connections(), 10000);
    const std::size_t busy_peers = peers / 20;
    const std::size_t idle_peers = peers - busy_peers;
    child_process service(SERVICE_PROGRAM, {"--port", "0"});
    const std::uint16_t port = port_of(service);
    std::vector<wire_client> crowd;
    for (std::size_t i = 0; i < idle_peers; ++i) {
        crowd.emplace_back(port);
        ASSERT_TRUE(crowd.back().is_connected()) << i;
        // Each has been used, so that nothing remains of a request.
        ASSERT_EQ(crowd.back().ask(test::mail_request("x")).status(), 204U) << i;
    }
    const std::size_t idle_memory = memory_of(service.id());
    for (std::size_t i = 0; i < busy_peers; ++i) {
        crowd.emplace_back(port);
        ASSERT_EQ(crowd.back().ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(),
                  100U);
    }
    const std::size_t memory = memory_of(service.id());
    RecordProperty("idle_connections", static_cast<int>(idle_peers));
    RecordProperty("idle_kib", static_cast<int>(idle_memory / 1024));
    RecordProperty("busy_kib", static_cast<int>(memory / 1024));
    EXPECT_GT(memory, 0U);
    EXPECT_LE(memory, 64 * mebibyte);
    EXPECT_EQ(wire_client(port).ask(test::mail_request("x")).status(), 204U);
}

} // namespace crowd_posix_test
