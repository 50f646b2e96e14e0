#pragma once

#include "tool/asyncio/endpoint_posix.h"
#include "tool/wproxy/socket_platform.h"

#include <cstdint>

namespace web {

/// True for a TCP socket on which no connection was ever begun.
[[nodiscard]] bool never_connected(int descriptor);

/// What signals the network events of one socket where poll tells them. Readiness is a state and an event is told
/// once, so this remembers which have been told. Belongs to the thread that owns the socket.
class posix_event
{
public:
    /// Names the socket and the events that are asked for.
    void select(int descriptor, std::uint32_t mask) noexcept;
    /// Takes what has happened; 0 or the Winsock code.
    [[nodiscard]] std::uint32_t take(int descriptor, network_events& happened);
    /// Waits until something has happened; gives a wait_code, and the Winsock code of a failed wait.
    [[nodiscard]] std::uint32_t wait(std::uint32_t milliseconds, std::uint32_t& code);

private:
    [[nodiscard]] short interest() const noexcept;

    int descriptor_ = -1;
    std::uint32_t mask_ = 0;
    bool close_told_ = false;
};

} // namespace web
