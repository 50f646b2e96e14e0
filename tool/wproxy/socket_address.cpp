#include "tool/wproxy/socket_address.h"

#include <bit>

namespace web {

namespace {

template <typename T>
T swap_if_little(T value) noexcept
{
    if constexpr (std::endian::native == std::endian::big) {
        return value;
    }
    T swapped = 0;
    for (std::size_t byte = 0; byte < sizeof(T); ++byte) {
        swapped = static_cast<T>(swapped << 8U | (value & 0xFFU));
        value = static_cast<T>(value >> 8U);
    }
    return swapped;
}

} // namespace

socket_address make_socket_address(std::uint32_t host, std::uint16_t port) noexcept
{
    socket_address made;
    made.host = swap_if_little(host);
    made.port = swap_if_little(port);
    return made;
}

std::uint32_t host_number(const socket_address& address) noexcept
{
    return swap_if_little(address.host);
}

std::uint16_t port_number(const socket_address& address) noexcept
{
    return swap_if_little(address.port);
}

} // namespace web
