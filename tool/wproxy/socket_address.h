#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace web {

/// An IPv4 socket address in the layout of a 16-byte sockaddr. `port` and `host` are in network byte order.
struct socket_address
{
    static constexpr std::uint16_t ipv4 = 2;

    std::uint16_t family = ipv4;
    std::uint16_t port = 0;
    std::uint32_t host = 0;
    std::array<std::uint8_t, 8> zero{};
};
static_assert(sizeof(socket_address) == 16);

/// Returns an address from numbers in host byte order: 0x7F000001 and the port.
[[nodiscard]] socket_address make_socket_address(std::uint32_t host, std::uint16_t port) noexcept;

/// Returns the numbers in host byte order.
[[nodiscard]] std::uint32_t host_number(const socket_address& address) noexcept;
[[nodiscard]] std::uint16_t port_number(const socket_address& address) noexcept;

/// WSAStringToAddressW for IPv4: "A.B.C.D" or "A.B.C.D:PORT". Returns 0 and fills `address`, or the Winsock code.
[[nodiscard]] std::uint32_t string_to_address(std::wstring_view text, socket_address& address);

} // namespace web
