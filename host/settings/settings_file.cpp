#include "host/settings/settings_file.h"

#include "settings/json/settings_json.h"
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

std::vector<std::uint8_t> load_settings_bytes(const std::filesystem::path& file)
{
    const std::string content = read_settings_file(file);
    return is_json(content) ? settings_bytes_of_json(content)
                            : std::vector<std::uint8_t>(content.begin(), content.end());
}

} // namespace host
