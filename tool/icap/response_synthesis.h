#pragma once

#include "tool/icap/encapsulated.h"
#include "tool/icap/response_message.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What a server-side peer of the protocol writes.
namespace icap {

/// What a service tells of itself.
struct server_options
{
    std::string service_name; ///< must not be empty
    std::string preview;
    std::vector<std::string> methods;
    std::vector<std::string> allow;
    std::vector<std::string> transfer_preview;
};

/// What was found in one object.
struct scan_record
{
    static constexpr std::uint32_t repaired = 4;     ///< the object was repaired: resolution 1
    static constexpr std::uint32_t not_repaired = 8; ///< the object was left as it is: resolution 0

    std::string path;
    std::string name; ///< of the threat
    std::uint64_t size = 0;
    std::uint32_t flags = 0; ///< neither flag: blocked, resolution 2
};

/// A reply of a head only, with "Encapsulated: null-body=0", complete at once. Raises std::invalid_argument
/// "istag can not be null", "istag can not be empty", "'server_options.service_name' can not be empty", and
/// std::runtime_error for a reply that its own analyzer doesn't read.
[[nodiscard]] std::unique_ptr<response_message> make_empty_response(const char* istag, std::uint32_t status,
                                                                    const server_options& options, bool close);

/// The reply to OPTIONS. Raises std::runtime_error for a reply that its own analyzer doesn't read.
[[nodiscard]] std::unique_ptr<response_message> make_options_response(std::string_view istag,
                                                                      const server_options& options);

/// The value of X-Infection-Found: "Type=0;Resolution=N;Threat=NAME;".
[[nodiscard]] std::string format_infection(const scan_record& record);

/// Words for the state of a scan.
[[nodiscard]] std::string format_scan_state(std::uint32_t value);

/// The value of X-Violations-Found: count 1, "/" and the last component of the path, name, size and resolution, each
/// on a line of its own, all but the first behind a tab.
[[nodiscard]] std::string format_violations(const scan_record& record);

/// The current UTC time with the local time zone's bias, such as "Sat, 01 Nov 2025 10:00:00 +0200".
[[nodiscard]] std::string format_date();
/// The same for a given time and bias in minutes (UTC less local time).
[[nodiscard]] std::string format_date(std::time_t time, int bias);

/// The system's time zone as its settings tell it.
struct time_zone_state
{
    std::uint32_t id = 0;  ///< 0 the zone has no daylight time, 1 standard time, 2 daylight time
    int bias = 0;          ///< minutes: UTC less local time, without the parts below
    int standard_bias = 0; ///< to add in standard time
    int daylight_bias = 0; ///< to add in daylight time
};

/// The system's bias in minutes, daylight or standard part included.
[[nodiscard]] int time_zone_bias();
/// Raises std::runtime_error "get time zone bias: invalid time zone id".
[[nodiscard]] int time_zone_bias(const time_zone_state& state);

} // namespace icap
