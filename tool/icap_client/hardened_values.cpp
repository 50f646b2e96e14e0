#include "tool/icap_client/hardened_values.h"

#include "logging/logging.h"
#include "tool/system/utf.h"

#include <algorithm>
#include <utility>

namespace icap::client {

namespace {

constexpr std::size_t longest_extension = 32;

bool is_written_as_it_is(char byte)
{
    return byte > ' ' && byte <= '~' && byte != '%';
}

std::string in_visible_ascii(std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        if (is_written_as_it_is(byte)) {
            text += byte;
        } else {
            const auto value = static_cast<unsigned char>(byte);
            text.append(1, '%').append(1, digits[value >> 4U]).append(1, digits[value & 0xFU]);
        }
    }
    return text;
}

/// Replaces `value` by `shorter`, and logs it if that has lost something.
void replace_by(std::string& value, std::string shorter, std::size_t whole_size, std::string_view header)
{
    if (shorter.size() < whole_size) {
        LOG_LINE(logging::icapclnt_log(), 300,
                 "mail request: " << header << " cut from " << whole_size << " to " << shorter.size() << " bytes");
    }
    value = std::move(shorter);
}

void make_visible(std::string& value, std::size_t longest, std::string_view header)
{
    const auto as_they_are = static_cast<std::size_t>(std::count_if(value.begin(), value.end(), is_written_as_it_is));
    const std::size_t whole_size = 3 * value.size() - 2 * as_they_are;
    replace_by(value, visible_ascii(value, longest), whole_size, header);
}

void shorten(std::string& value, std::size_t longest, std::string_view header)
{
    replace_by(value, std::string(whole_beginning(value, longest)), value.size(), header);
}

} // namespace

std::string visible_ascii(std::string_view value, std::size_t longest)
{
    std::string text;
    while (!value.empty()) {
        const std::size_t size = winapi::utf::first_code_point(value).size;
        const std::string character = in_visible_ascii(value.substr(0, size));
        if (character.size() > longest - text.size()) {
            break;
        }
        text += character;
        value.remove_prefix(size);
    }
    return text;
}

std::string_view whole_beginning(std::string_view text, std::size_t longest)
{
    if (text.size() <= longest) {
        return text;
    }
    std::size_t end = 0;
    for (;;) {
        const std::size_t size = winapi::utf::first_code_point(text.substr(end)).size;
        if (size > longest - end) {
            return text.substr(0, end);
        }
        end += size;
    }
}

std::string short_file_name(std::string_view name, std::size_t longest)
{
    if (name.size() <= longest) {
        return std::string(name);
    }
    const std::size_t dot = name.rfind('.');
    const bool has_extension = dot != std::string_view::npos && name.size() - dot <= longest_extension;
    const std::string_view extension = has_extension ? name.substr(dot) : std::string_view();
    return std::string(whole_beginning(name, longest - extension.size())).append(extension);
}

scan_mail hardened_values(scan_mail parameters)
{
    make_visible(parameters.tag, longest_value::tag, "X-Mail-Tag");
    make_visible(parameters.mime_type, longest_value::mime_type, "X-Mime-Type");
    shorten(parameters.subject, longest_value::subject, "X-Mail-Subject");
    shorten(parameters.process_name, longest_value::process_name, "X-Process-Name");
    shorten(parameters.user_name, longest_value::user_name, "X-Authenticated-User");
    replace_by(parameters.attach_name, short_file_name(parameters.attach_name, longest_value::attach_name),
               parameters.attach_name.size(), "X-Mail-Attach-Name");
    return parameters;
}

} // namespace icap::client
