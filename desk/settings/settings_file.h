#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

/// Settings files: a blob as the product's broker returns it, or JSON. The form is detected from the content: JSON
/// begins, after blanks, with "{", and no blob does.
namespace host {

/// A file that cannot be read or contains no settings. what() contains the reason, without the file's name.
class settings_file_error : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Returns the content of a file. Throws settings_file_error, also for a file that is larger than settings can be.
[[nodiscard]] std::string read_settings_file(const std::filesystem::path& file);

/// Returns the blob of a file of either form. A blob is returned without validation; JSON is converted to a blob of the
/// latest layout. Invalid JSON throws settings_file_error.
[[nodiscard]] std::vector<std::uint8_t> load_settings_bytes(const std::filesystem::path& file);

/// Returns the settings of a file of either form. Invalid or incomplete contents throw settings_file_error with a text
/// for display.
[[nodiscard]] DOVA::Settings::WebTrafficMonitorSettings load_settings(const std::filesystem::path& file);

/// Returns the blob of the default settings for a service at this port. `uri` is its path without the leading "/".
[[nodiscard]] std::vector<std::uint8_t> settings_bytes_of_service(std::uint16_t port, const std::wstring& uri);

/// Converts JSON text to a blob. Throws settings_file_error for any other text.
[[nodiscard]] std::vector<std::uint8_t> settings_bytes_of_json(const std::string& text);

/// As settings_bytes_of_json(), for settings that are made to be used: refuses those outside of their limits too (see
/// settings_limits.h). Settings from elsewhere are taken as they are, as the product takes them.
[[nodiscard]] std::vector<std::uint8_t> usable_settings_bytes(const std::string& text);

} // namespace host
