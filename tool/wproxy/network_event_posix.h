#pragma once

#include "tool/asyncio/endpoint_posix.h"
#include "tool/wproxy/socket_platform.h"

#include <cstdint>

namespace web {

/// Returns true for a TCP socket on which no connection was ever begun.
[[nodiscard]] bool never_connected(int descriptor);

/// Signals the network events of one socket by poll. Readiness is a state but an event is reported once, so this object
/// records which ones have been reported. Used by the thread that owns the socket.
class posix_event
{
public:
    /// Sets the socket and the events to report.
    void select(int descriptor, std::uint32_t mask) noexcept;
    /// Takes the events that have occurred; returns 0 or the Winsock code.
    [[nodiscard]] std::uint32_t take(int descriptor, network_events& happened);
    /// Waits until an event has occurred. Returns a wait_code, and the Winsock code of a failed wait in `code`.
    [[nodiscard]] std::uint32_t wait(std::uint32_t milliseconds, std::uint32_t& code);

private:
    [[nodiscard]] short interest() const noexcept;

    int descriptor_ = -1;
    std::uint32_t mask_ = 0;
    bool close_told_ = false;
};

} // namespace web
