#include "mail/mime/text/header_text.h"

#include "mail/mime/text/line_limits.h"
#include "mail/mime/text/property_text.h"
#include "tool/system/base64.h"
#include "tool/system/utf.h"

#include <algorithm>

namespace host {

namespace {

constexpr std::size_t longest_name = 90; ///< of a header, so that the longest word fits on its line

bool is_letter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool is_name_character(char c)
{
    return c > ' ' && c < '\x7F' && c != ':';
}

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

/// Returns true for text that can be stored unencoded: it has no blanks that might get lost and nothing that resembles
/// an encoded word.
bool is_plain(std::string_view text)
{
    const bool printable = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
    std::size_t word = 0;
    std::size_t longest = 0;
    for (const char c : text) {
        word = c == ' ' ? 0 : word + 1;
        longest = std::max(longest, word);
    }
    return printable && longest < longest_word && !text.starts_with(' ') && !text.ends_with(' ') &&
           text.find("  ") == std::string_view::npos && text.find("=?") == std::string_view::npos;
}

/// Breaks lines before blanks.
std::string folded(std::string_view text)
{
    std::string result = " ";
    std::size_t column = longest_line / 4; // the name precedes the value
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' ', 1), text.size());
        if (column + end > longest_line && text.front() == ' ') {
            result += '\n';
            column = 0;
        }
        result += text.substr(0, end);
        column += end;
        text.remove_prefix(end);
    }
    return result + '\n';
}

/// Removes the next encoded word from the beginning. Only the last base64 word has padding, because some readers stop
/// at padding. If no number of whole characters fits without padding, the first character becomes a separate word in
/// the other encoding.
std::string take_word(std::string_view& utf8)
{
    constexpr std::size_t most = 45; // 60 characters of base64
    std::size_t size = std::min(utf8.size(), most);
    while (size > 0 && size < utf8.size() && !winapi::utf::begins_character(utf8[size])) {
        size -= 3;
    }
    if (size > 0) {
        std::string word = "=?utf-8?B?" + winapi::base64::encode(utf8.substr(0, size)) + "?=";
        utf8.remove_prefix(size);
        return word;
    }
    std::string word = "=?utf-8?Q?";
    do {
        word += '=' + hex_text(static_cast<unsigned char>(utf8.front()), 2);
        utf8.remove_prefix(1);
    } while (!utf8.empty() && !winapi::utf::begins_character(utf8.front()));
    return word + "?=";
}

} // namespace

std::vector<kept_header> split_headers(std::string_view text)
{
    std::vector<kept_header> found;
    bool in_header = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        while (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!line.empty() && is_blank(line.front())) {
            if (in_header && line.find_first_not_of(" \t") != std::string_view::npos) {
                found.back().value.append(line).push_back('\n');
            }
            continue;
        }
        const auto name_end = std::find_if_not(line.begin(), line.end(), is_name_character);
        const auto colon = std::find_if_not(name_end, line.end(), is_blank);
        const auto name_size = static_cast<std::size_t>(name_end - line.begin());
        in_header = !line.empty() && is_letter(line.front()) && name_size <= longest_name && colon != line.end() &&
                    *colon == ':';
        if (in_header) {
            found.push_back({{line.begin(), name_end}, std::string(colon + 1, line.end()) + '\n'});
        }
    }
    return found;
}

std::string header_words(std::string_view utf8)
{
    if (is_plain(utf8)) {
        return folded(utf8);
    }
    std::string result;
    while (!utf8.empty()) {
        result += result.empty() ? " " : "\n ";
        result += take_word(utf8);
    }
    return result + '\n';
}

std::string header_lines(std::string_view list)
{
    std::string result;
    std::size_t room = longest_line - longest_line / 3; // the name precedes the value
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(';'), list.size() - 1) + 1;
        for (std::string_view pair = list.substr(0, end); !pair.empty();) {
            const std::size_t size = std::min(pair.size(), room);
            result += result.empty() ? " " : "\n ";
            result += pair.substr(0, size);
            pair.remove_prefix(size);
            room = longest_line;
        }
        list.remove_prefix(end);
    }
    return (result.empty() ? " " : result) + '\n';
}

bool is_plain_word(std::string_view text)
{
    return !text.empty() && text.size() <= longest_word &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~' && c != '<' && c != '>'; });
}

std::string without_controls(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20U || c == 0x7F; }, ' ');
    return text;
}

std::string with_word_breaks(std::string_view utf8)
{
    std::string result;
    std::size_t word = 0;
    for (const char c : utf8) {
        word = c > ' ' && c <= '~' ? word + 1 : 0;
        if (word > longest_word) {
            result += ' ';
            word = 1;
        }
        result += c;
    }
    return result;
}

std::string ascii_of_line(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        if (c >= ' ' && c <= '~' && result.size() < longest_word) {
            result += c;
        }
    }
    return result;
}

void append_raw_header(GMimeObject* object, const char* name, const std::string& value)
{
    GMimeHeaderList* headers = g_mime_object_get_header_list(object);
    g_mime_header_list_append(headers, name, "", nullptr);
    GMimeHeader* added = g_mime_header_list_get_header_at(headers, g_mime_header_list_get_count(headers) - 1);
    g_mime_header_set_raw_value(added, value.c_str());
}

} // namespace host
