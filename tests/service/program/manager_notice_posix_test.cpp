#include "service/program/manager_notice.h"
#include "tests/service/service_port_posix.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

#include <platform/handles.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace manager_notice_test {

using service::manager_notice;
using test::child_process;
using testing::StartsWith;

/// The socket of a manager. `address` is a path, or a name behind "@".
class manager
{
public:
    explicit manager(const std::string& address)
        : address_(address)
        , socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un at{};
        at.sun_family = AF_UNIX;
        std::copy(address.begin(), address.end(), at.sun_path);
        if (address.starts_with('@')) {
            at.sun_path[0] = '\0';
        }
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&at), length), 0) << address;
        constexpr timeval longest{60, 0};
        EXPECT_EQ(::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest), 0);
    }

    [[nodiscard]] const std::string& address() const { return address_; }
    /// Returns the next report; empty, as a failure, if none arrives.
    [[nodiscard]] std::string next() const
    {
        std::array<char, 4096> bytes{};
        const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        EXPECT_GT(size, 0) << "no report";
        return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }
    [[nodiscard]] bool has_another() const
    {
        char byte = 0;
        return ::recv(socket_.get(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) > 0;
    }

private:
    std::string address_;
    winapi::file_handle socket_;
};

std::string abstract_name(const std::string& purpose)
{
    return "@postwarden-test-" + purpose + "-" + std::to_string(::getpid());
}

std::uint64_t microseconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000U + static_cast<std::uint64_t>(now.tv_nsec) / 1000U;
}

/// Returns the time in a report about a reload; 0, as a failure, if it is none.
std::uint64_t time_of_reload(const std::string& report)
{
    const std::string heading = "RELOADING=1\nMONOTONIC_USEC=";
    EXPECT_THAT(report, StartsWith(heading));
    return report.starts_with(heading) ? std::stoull(report.substr(heading.size())) : 0;
}

TEST(manager_notice, reports_each_state_in_one_datagram)
{
    const host::test::temporary_folder folder;
    for (const std::string& address : {(folder.path() / "notify").string(), abstract_name("states")}) {
        const manager waiting(address);
        const manager_notice notice(address);
        notice.ready("listening");
        EXPECT_EQ(waiting.next(), "READY=1\nSTATUS=listening\n");
        notice.ready();
        EXPECT_EQ(waiting.next(), "READY=1\n");
        const std::uint64_t before = microseconds();
        notice.reloading();
        const std::uint64_t reported = time_of_reload(waiting.next());
        EXPECT_GE(reported, before);
        EXPECT_LE(reported, microseconds());
        notice.stopping();
        EXPECT_EQ(waiting.next(), "STOPPING=1\nSTATUS=ending\n");
    }
}

TEST(manager_notice, reaches_a_name_of_the_greatest_length)
{
    std::string address = abstract_name("long-");
    address.resize(sizeof(sockaddr_un::sun_path) - 1, 'x');
    const manager waiting(address);
    manager_notice(address).ready();
    EXPECT_EQ(waiting.next(), "READY=1\n");
}

TEST(manager_notice, does_nothing_without_a_manager)
{
    for (const std::string& address : {std::string(), std::string("relative"), std::string("vsock:2:1"),
                                       std::string("/no/such/folder/notify"), "/" + std::string(200, 'x')}) {
        manager_notice(address).ready("unheard");
    }
}

TEST(manager_notice, follows_the_program_through_its_life)
{
    const manager waiting(abstract_name("program"));
    child_process service("env", {"NOTIFY_SOCKET=" + waiting.address(), SERVICE_PROGRAM, "--port", "0"});
    const std::string port = std::to_string(test::port_of(service));
    EXPECT_EQ(waiting.next(), "READY=1\nSTATUS=listening on 127.0.0.1:" + port + "\n");
    const std::uint64_t before = microseconds();
    ASSERT_TRUE(service.kill(SIGHUP));
    EXPECT_GE(time_of_reload(waiting.next()), before);
    EXPECT_EQ(waiting.next(), "READY=1\n");
    ASSERT_TRUE(service.kill(SIGTERM));
    EXPECT_EQ(waiting.next(), "STOPPING=1\nSTATUS=ending\n");
    EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
    EXPECT_FALSE(waiting.has_another());
}

TEST(manager_notice, is_not_ready_if_the_program_cannot_serve)
{
    const manager waiting(abstract_name("refused"));
    child_process service("env", {"NOTIFY_SOCKET=" + waiting.address(), SERVICE_PROGRAM, "--engine", "none"});
    EXPECT_EQ(service.wait(), (child_process::exit_status{2, 0}));
    EXPECT_FALSE(waiting.has_another());
}

} // namespace manager_notice_test
