#include "desk/settings/settings_file.h"

#include "cctool/serialization/errors.h"
#include "desk/settings/settings_json.h"
#include "desk/settings/settings_limits.h"
#include "settings/settings_blob.h"

#include <fstream>
#include <string_view>
#include <system_error>

namespace host {

namespace {

constexpr std::size_t largest = 64U << 20U;
constexpr std::size_t piece = 1U << 16U;
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

bool is_json(std::string_view content)
{
    if (content.starts_with(byte_order_mark)) {
        content.remove_prefix(byte_order_mark.size());
    }
    const std::size_t first = content.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && content[first] == '{';
}

/// Returns why bytes are not a settings blob, without the source location that the error contains.
std::string reason_of(const cctool::Error& error)
{
    const std::string description = error.Context() != nullptr ? error.Context()->description : std::string();
    return description.empty() ? "holds no settings blob" : "holds no settings blob: " + description;
}

} // namespace

std::string read_settings_file(const std::filesystem::path& file)
{
    std::error_code failure;
    const auto status = std::filesystem::status(file, failure);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw settings_file_error("there is no such file");
    }
    if (failure) {
        throw settings_file_error(failure.message());
    }
    if (std::filesystem::is_directory(status)) {
        throw settings_file_error("is a folder");
    }
    std::ifstream input(file, std::ios::binary);
    std::string content;
    while (input && content.size() <= largest) {
        const std::size_t before = content.size();
        content.resize(before + piece);
        input.read(content.data() + before, piece);
        content.resize(before + static_cast<std::size_t>(input.gcount()));
    }
    if (content.size() > largest) {
        throw settings_file_error("is larger than settings can be");
    }
    if (!input.eof()) {
        throw settings_file_error("cannot be read");
    }
    return content;
}

std::vector<std::uint8_t> settings_bytes_of_json(const std::string& text)
{
    try {
        return DOVA::Settings::BlobFromSettings(DOVA::Settings::SettingsFromJson(text));
    } catch (const DOVA::Settings::SettingsJsonError& error) {
        throw settings_file_error(error.what());
    }
}

std::vector<std::uint8_t> usable_settings_bytes(const std::string& text)
{
    try {
        const DOVA::Settings::WebTrafficMonitorSettings settings = DOVA::Settings::SettingsFromJson(text);
        DOVA::Settings::ExpectWithinLimits(settings);
        return DOVA::Settings::BlobFromSettings(settings);
    } catch (const DOVA::Settings::SettingsJsonError& error) {
        throw settings_file_error(error.what());
    }
}

std::vector<std::uint8_t> load_settings_bytes(const std::filesystem::path& file)
{
    const std::string content = read_settings_file(file);
    return is_json(content) ? settings_bytes_of_json(content)
                            : std::vector<std::uint8_t>(content.begin(), content.end());
}

DOVA::Settings::WebTrafficMonitorSettings load_settings(const std::filesystem::path& file)
{
    try {
        return DOVA::Settings::SettingsFromBlob(load_settings_bytes(file));
    } catch (const cctool::Serialization::IncompatibleVersionError&) {
        throw settings_file_error("holds settings of a version that is not understood");
    } catch (const cctool::Error& error) {
        throw settings_file_error(reason_of(error));
    } catch (const std::length_error&) {
        throw settings_file_error("holds no settings blob");
    }
}

std::vector<std::uint8_t> settings_bytes_of_service(std::uint16_t port, const std::wstring& uri)
{
    DOVA::Settings::WebTrafficMonitorSettings settings;
    settings.ServerPort.value = port;
    settings.ServerPort.isSet = true;
    settings.Uri.value = uri;
    settings.Uri.isSet = true;
    return DOVA::Settings::BlobFromSettings(settings);
}

} // namespace host
