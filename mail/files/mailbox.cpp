#include "mail/files/mailbox.h"

#include "mail/files/path_text.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <fstream>
#include <string_view>

namespace host {

namespace {

constexpr std::string_view compound_file = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::uint64_t kept_in_memory = 1U << 20U;

/// Returns the beginning of a message; nothing if it cannot be read.
std::string beginning_of(const message_place& place)
{
    constexpr std::size_t size = 256;
    std::string start(size, '\0');
    if (place.contents) {
        start.resize(place.contents->read(0, start.data(), start.size()));
        return start;
    }
    std::ifstream input(place.file, std::ios::binary);
    input.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(input.gcount()));
    return start;
}

/// Returns true for a text whose first line is a header, or the envelope line that some programs write before it.
bool begins_like_mime(std::string_view text)
{
    const std::string_view name = text.substr(0, text.find(':'));
    const auto is_of_a_name = [](char c) { return c > ' ' && c < '\x7F'; };
    return text.starts_with("From ") ||
           (!name.empty() && name.size() < text.size() && std::all_of(name.begin(), name.end(), is_of_a_name));
}

} // namespace

std::string message_place::name() const
{
    return number == 0 ? text_of_path(file) : text_of_path(file) + "#" + std::to_string(number);
}

mail_format format_of(const message_place& place)
{
    const std::string start = beginning_of(place);
    const bool named_so =
        place.number == 0 && winapi::compare_no_case(text_of_path(place.file.extension()), ".msg") == 0;
    const bool outlook = start.starts_with(compound_file) || (named_so && !begins_like_mime(start));
    return outlook ? mail_format::msg : mail_format::eml;
}

bytes_ptr open_message(const message_place& place)
{
    if (place.contents) {
        return place.contents;
    }
    bytes_ptr file = bytes_of_file(place.file);
    return file->size() <= kept_in_memory ? bytes_of(to_string(*file)) : file;
}

} // namespace host
