#pragma once

#include "tool/icap_client/scan_records.h"

#include <cstdint>
#include <string>
#include <string_view>

/// The texts of all requests. Values are written to the wire unchanged, except those that are documented as Base64;
/// nothing is escaped, folded or checked for line breaks.
namespace icap::client {

/// Replaces the first occurrence of `placeholder` in `text`, even if an earlier value contained it. Without an
/// occurrence, `text` remains unchanged.
void fill_placeholder(std::string& text, std::string_view placeholder, std::string_view value);

// In all builders, `host` fills the Host header, `client_ip` the X-Client-IP header, and `target` is the ICAP URI. A
// failed conversion throws std::runtime_error or boost::bad_lexical_cast.

[[nodiscard]] std::string build_options_request(const std::string& host, const std::string& target);

/// Returns the head and the encapsulated HTTP header only; the caller appends the body. If the parameters are hardened,
/// their values are those of hardened_values(), and text in a value is never taken for a placeholder.
[[nodiscard]] std::string build_mail_request(const std::string& host, const std::string& client_ip,
                                             const std::string& target, const scan_mail& parameters);

[[nodiscard]] std::string build_health_request(const std::string& host, const std::string& client_ip,
                                               const std::string& target, const scan_health& parameters,
                                               std::string_view preview = {});

[[nodiscard]] std::string build_certificate_request(const std::string& host, const std::string& client_ip,
                                                    const std::string& target, const scan_certificate& parameters,
                                                    std::string_view preview = {});

[[nodiscard]] std::string build_reqmod_preview(const std::string& host, const std::string& client_ip,
                                               const std::string& target, const scan_http_request& parameters,
                                               std::string_view preview);

[[nodiscard]] std::string build_respmod_preview(const std::string& host, const std::string& client_ip,
                                                const std::string& target, const scan_http_response& parameters,
                                                std::string_view preview);

[[nodiscard]] std::string build_object_preview(const std::string& host, const std::string& client_ip,
                                               const std::string& target, const std::string& object_name,
                                               std::uint32_t object_size, std::string_view preview);

/// Returns the ICAP URI as a wide string: "icap://" + address + ":" + port + path.
[[nodiscard]] std::wstring make_target(const std::wstring& address, std::uint32_t port, const std::wstring& path);

} // namespace icap::client
