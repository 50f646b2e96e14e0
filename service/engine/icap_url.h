#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace service {

/// The address of a service on an ICAP server.
struct icap_url
{
    std::string host;          ///< a name or a literal address, without brackets
    std::uint16_t port = 1344; ///< never 0
    std::string service;       ///< path and query behind the first "/"; printable ASCII

    /// Returns host and port as a URL contains them, with the brackets of a literal IPv6 address.
    [[nodiscard]] std::string authority() const;
    /// Returns the whole URL.
    [[nodiscard]] std::string text() const { return "icap://" + authority() + "/" + service; }
};

/// Reads "icap://HOST[:PORT]/SERVICE". A literal IPv6 address is written in brackets. Throws std::invalid_argument with
/// a text that describes the error.
[[nodiscard]] icap_url read_icap_url(std::string_view text);

/// Returns `text` for the path of a URL: all bytes but letters, digits, "-", "." and "_" as "%" and two digits.
[[nodiscard]] std::string percent_encoded(std::string_view text);

/// Reads a port: a decimal number from 0 to 65535. Throws std::invalid_argument.
[[nodiscard]] std::uint16_t read_port(std::string_view text);

} // namespace service
