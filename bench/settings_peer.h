#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <cstdint>
#include <string>

/// A message of protobuf with the fields of the settings record. Without protobuf there is none.
namespace bench::peer {

[[nodiscard]] bool is_there() noexcept;

/// Returns the record as a serialised message.
[[nodiscard]] std::string bytes_of(const DOVA::Settings::WebTrafficMonitorSettings& settings);

/// Parses a message as often as given, and returns the number of characters of its last URL pattern.
std::size_t parse(const std::string& bytes, std::uint64_t count);
/// The same with the memory of each message in an arena.
std::size_t parse_in_arena(const std::string& bytes, std::uint64_t count);
/// Makes a message of the bytes, which it serialises as often as given. Returns the size of the last result.
std::size_t serialise(const std::string& bytes, std::uint64_t count);

} // namespace bench::peer
