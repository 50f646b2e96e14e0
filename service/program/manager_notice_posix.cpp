#include "service/program/manager_notice.h"

#include <platform/handles.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>

namespace service {

namespace {

std::string address_of_environment()
{
    const char* const value = std::getenv("NOTIFY_SOCKET");
    return value == nullptr ? std::string() : value;
}

/// Microseconds of the clock by which the manager orders a report and the reload that it requested.
std::uint64_t monotonic_microseconds() noexcept
{
    constexpr std::uint64_t million = 1000000;
    constexpr std::uint64_t thousand = 1000;
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * million + static_cast<std::uint64_t>(now.tv_nsec) / thousand;
}

} // namespace

manager_notice::manager_notice()
    : manager_notice(address_of_environment())
{}

manager_notice::manager_notice(std::string address)
    : address_(std::move(address))
{}

void manager_notice::ready(const std::string& status) const
{
    send(status.empty() ? "READY=1\n" : "READY=1\nSTATUS=" + status + "\n");
}

void manager_notice::reloading() const
{
    send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(monotonic_microseconds()) + "\n");
}

void manager_notice::stopping() const
{
    send("STOPPING=1\nSTATUS=ending\n");
}

void manager_notice::send(const std::string& lines) const
{
    sockaddr_un to{};
    const bool abstract = address_.starts_with('@');
    if ((!abstract && !address_.starts_with('/')) || address_.size() >= sizeof to.sun_path) {
        return;
    }
    to.sun_family = AF_UNIX;
    std::copy(address_.begin(), address_.end(), to.sun_path);
    if (abstract) {
        to.sun_path[0] = '\0';
    }
    const winapi::file_handle sender(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (sender) {
        // The name of an abstract socket has no end of its own; its length is part of the address.
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
        (void)::sendto(sender.get(), lines.data(), lines.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to),
                       length);
    }
}

} // namespace service
