#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

/// Files of settings: a blob as the product's broker gives it, or JSON. Which of the two a file is, its content tells:
/// JSON begins, after blanks, with "{", which no blob can.
namespace host {

/// A file that cannot be read or holds no settings. what() tells why, without the file's name.
class settings_file_error : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The content of a file. Raises settings_file_error, also for a file that is larger than settings can be.
[[nodiscard]] std::string read_settings_file(const std::filesystem::path& file);

/// The blob of a file of either form. A blob is given as it is, good or bad; JSON becomes a blob of the latest layout,
/// and what is wrong with it is raised as settings_file_error.
[[nodiscard]] std::vector<std::uint8_t> load_settings_bytes(const std::filesystem::path& file);

/// The settings of a file of either form. What the bytes lack is raised as settings_file_error too, in words for
/// people.
[[nodiscard]] DOVA::Settings::WebTrafficMonitorSettings load_settings(const std::filesystem::path& file);

/// The blob of the default settings for a service at this port; `uri` is its path without the leading "/".
[[nodiscard]] std::vector<std::uint8_t> settings_bytes_of_service(std::uint16_t port, const std::wstring& uri);

/// The blob of JSON text; settings_file_error for anything else.
[[nodiscard]] std::vector<std::uint8_t> settings_bytes_of_json(const std::string& text);

} // namespace host
