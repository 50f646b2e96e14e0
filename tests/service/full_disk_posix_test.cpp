// A temporary disk without room for an object.

#include "service/engine/builtin_engine.h"
#include "tests/service/requests.h"
#include "tests/service/service_port_posix.h"
#include "tests/service/wire_client.h"
#include "tests/support/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace full_disk_posix_test {

using test::child_process;
using test::wire_client;

constexpr std::size_t room = 1U << 20U;

/// Starts the service with room for files of that size: without the signal, which would end it, a write beyond fails as
/// on a full disk.
std::unique_ptr<child_process> started_service()
{
    const std::string script =
        "trap '' XFSZ; ulimit -f " + std::to_string(room / 512) + "; exec \"$1\" --port 0 --memory-body 65536";
    return std::make_unique<child_process>("/bin/sh", std::vector<std::string>{"-c", script, "sh", SERVICE_PROGRAM});
}

std::size_t occurrences(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(full_disk, is_answered_with_503_and_logged_once)
{
    const auto service = started_service();
    const auto port = test::port_of(*service);
    for (int i = 0; i < 3; ++i) {
        wire_client client(port);
        const auto refusal = client.ask(test::mail_request(std::string(2 * room, 'x')));
        EXPECT_EQ(refusal.status(), 503U);
        EXPECT_EQ(refusal.field("Connection"), "close");
        EXPECT_EQ(wire_client(port).ask(test::mail_request(std::string(room / 2, 'x'))).status(), 204U);
        EXPECT_EQ(wire_client(port).ask(test::mail_request(service::antivirus_test_text())).status(), 200U);
    }
    ASSERT_TRUE(service->kill(SIGTERM));
    EXPECT_EQ(service->wait(), (child_process::exit_status{0, 0}));
    const std::string log = service->errors();
    EXPECT_EQ(occurrences(log, "requests are refused: their objects cannot be kept: "), 1U) << log;
    EXPECT_EQ(occurrences(log, "\n"), 1U) << log;
}

} // namespace full_disk_posix_test
