#include "tool/wproxy/socket_address.h"
#include "tool/wproxy/socket_platform.h"

#include <winsock2.h>

#include <string>

namespace web {

std::uint32_t string_to_address(std::wstring_view text, socket_address& address)
{
    static_cast<void>(system_socket_platform()); // starts Winsock
    std::wstring copy(text);                     // the call requires a terminated, writable text
    socket_address converted;
    INT size = sizeof converted;
    if (::WSAStringToAddressW(copy.data(), AF_INET, nullptr, reinterpret_cast<sockaddr*>(&converted), &size) != 0) {
        return static_cast<std::uint32_t>(::WSAGetLastError());
    }
    address = converted;
    return 0;
}

} // namespace web
