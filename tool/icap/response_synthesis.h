#pragma once

#include "tool/icap/encapsulated.h"
#include "tool/icap/response_message.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Responses and header values that a server of the protocol writes.
///
/// Example:
///
///     icap::server_options options;
///     options.service_name = "scanner";
///     const auto answer = icap::make_empty_response("\"tag\"", 204, options, false);
///     http::byte_vector bytes;
///     icap::packet piece{&bytes, 0};
///     for (const auto reader = answer->reader(); reader->read(piece);) {
///         send(bytes.data(), piece.count);
///     }
namespace icap {

/// The properties that a service announces. Values are written as given; they must not contain line ends.
struct server_options
{
    std::string service_name;                  ///< value of "Service"; must not be empty
    std::string preview;                       ///< value of "Preview", in bytes
    std::vector<std::string> methods;          ///< values of "Methods"
    std::vector<std::string> allow;            ///< values of "Allow", such as "204"
    std::vector<std::string> transfer_preview; ///< values of "Transfer-Preview"
};

/// The result of scanning one object, as the infection headers report it.
struct scan_record
{
    static constexpr std::uint32_t repaired = 4;     ///< the object was repaired: resolution 1
    static constexpr std::uint32_t not_repaired = 8; ///< the object was not changed: resolution 0; takes precedence

    std::string path;        ///< of the object; only its last component is reported
    std::string name;        ///< of the threat
    std::uint64_t size = 0;  ///< of the object, in bytes
    std::uint32_t flags = 0; ///< neither flag: blocked, resolution 2
};

/// Returns a response that consists of a head with "Encapsulated: null-body=0" and is complete at once. `istag` is
/// written as given, so it contains its quotes. `close` selects "Connection: close" instead of "keep-alive".
///
/// Throws std::invalid_argument "istag can not be null", "istag can not be empty" or "'server_options.service_name' can
/// not be empty". Throws std::runtime_error "could not create empty response message" if the text is not a valid
/// response, for example for a status of other than three digits, and std::out_of_range for a text of more than 16640
/// bytes.
[[nodiscard]] std::unique_ptr<response_message> make_empty_response(const char* istag, std::uint32_t status,
                                                                    const server_options& options, bool close);

/// Returns the response to OPTIONS, complete at once. Throws std::runtime_error "could not create option response
/// message" if the text is not a valid response.
[[nodiscard]] std::unique_ptr<response_message> make_options_response(std::string_view istag,
                                                                      const server_options& options);

/// Returns the value of X-Infection-Found: "Type=0;Resolution=N;Threat=NAME;".
[[nodiscard]] std::string format_infection(const scan_record& record);

/// Returns the text for the state of a scan: 1 is "scanned", 16 and 17 "not scanned", 32 and 33 "not scanned password
/// protected", any other value "undefined".
[[nodiscard]] std::string format_scan_state(std::uint32_t value);

/// Returns the value of X-Violations-Found: the count 1, "/" and the last component of the path, the name, the size and
/// the resolution. Each is on a line with CR LF, and all but the first begin with a tab.
[[nodiscard]] std::string format_violations(const scan_record& record);

/// Returns the current UTC time followed by the local time zone's offset, such as "Sat, 01 Nov 2025 10:00:00 +0200".
[[nodiscard]] std::string format_date();
/// As above for a given time, and a bias in minutes (UTC less local time).
[[nodiscard]] std::string format_date(std::time_t time, int bias);

/// The system's time zone, as its settings specify it.
struct time_zone_state
{
    std::uint32_t id = 0;  ///< 0: the zone has no daylight time; 1: standard time; 2: daylight time
    int bias = 0;          ///< minutes: UTC less local time, without the parts below
    int standard_bias = 0; ///< minutes to add in standard time
    int daylight_bias = 0; ///< minutes to add in daylight time
};

/// Returns the system's bias in minutes, including the daylight or standard part.
[[nodiscard]] int time_zone_bias();
/// Returns the bias of `state` in minutes. Throws std::runtime_error "get time zone bias: invalid time zone id" for
/// another id than 0, 1 and 2.
[[nodiscard]] int time_zone_bias(const time_zone_state& state);

} // namespace icap
