#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace doctor {

/// An address of this machine and a port.
struct endpoint
{
    std::string address = "127.0.0.1"; ///< loopback, IPv4
    std::uint16_t port = 0;
};

/// Returns "127.0.0.1:1345".
[[nodiscard]] std::string text_of(const endpoint& peer);
/// Returns the IPv4 loopback address that a user specified as "localhost" or as a number. Throws std::invalid_argument
/// for any other host.
[[nodiscard]] std::string loopback_address(const std::string& host);

/// Connects. Returns an empty text if the port is open, otherwise the reason in words.
[[nodiscard]] std::string refusal_of(const endpoint& peer, std::chrono::milliseconds longest);
/// Returns the answer of an HTTP server to GET, head and body, of 4 MiB at most. Throws std::runtime_error with the
/// reason in words.
[[nodiscard]] std::string http_get(const endpoint& peer, const std::string& path, std::chrono::milliseconds longest);

} // namespace doctor
