#include "service/engine/icap_head.h"

#include "tool/system/ascii.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace service {

using winapi::same_no_case;
using winapi::trimmed;

namespace {

bool is_digit(char byte)
{
    return byte >= '0' && byte <= '9';
}

bool is_name_character(char byte)
{
    constexpr std::string_view separators = "()<>@,;:\\\"/[]?={}";
    return byte > ' ' && byte <= '~' && separators.find(byte) == std::string_view::npos;
}

/// Takes a line with its line end off `text`.
std::string_view take_line(std::string_view& text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

unsigned read_status(std::string_view line, std::string_view protocol)
{
    constexpr std::size_t digits = 3;
    if (!line.starts_with(protocol) || line.size() <= protocol.size() || line[protocol.size()] != '/') {
        throw std::runtime_error("answer not understood: no status");
    }
    line.remove_prefix(std::min(line.find(' '), line.size()));
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    unsigned status = 0;
    if (line.size() < digits || !std::all_of(line.begin(), line.begin() + digits, is_digit) ||
        (line.size() > digits && line[digits] != ' ')) {
        throw std::runtime_error("answer not understood: no status");
    }
    std::from_chars(line.data(), line.data() + digits, status);
    constexpr unsigned least = 100;
    constexpr unsigned most = 599;
    if (status < least || status > most) {
        throw std::runtime_error("answer not understood: no status");
    }
    return status;
}

} // namespace

std::string_view icap_head::field(std::string_view name) const
{
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&](const auto& entry) { return same_no_case(entry.first, name); });
    return found == fields.end() ? std::string_view{} : found->second;
}

std::vector<std::string_view> icap_head::all(std::string_view name) const
{
    std::vector<std::string_view> values;
    for (const auto& [known, value] : fields) {
        if (same_no_case(known, name) && !value.empty()) {
            values.emplace_back(value);
        }
    }
    return values;
}

icap_head read_icap_head(std::string_view text, std::string_view protocol)
{
    icap_head head;
    head.status = read_status(take_line(text), protocol);
    for (;;) {
        if (text.empty()) {
            throw std::runtime_error("answer not understood: a head without its end");
        }
        const std::string_view line = take_line(text);
        if (line.empty()) {
            return head;
        }
        if ((line.front() == ' ' || line.front() == '\t') && !head.fields.empty()) {
            head.fields.back().second.append("\n").append(trimmed(line));
            continue;
        }
        const std::size_t colon = line.find(':');
        const std::string_view name = line.substr(0, std::min(colon, line.size()));
        if (colon == std::string_view::npos || name.empty() ||
            !std::all_of(name.begin(), name.end(), is_name_character)) {
            throw std::runtime_error("answer not understood: a line of its head has no name");
        }
        head.fields.emplace_back(name, trimmed(line.substr(colon + 1)));
    }
}

std::size_t head_length(std::string_view text, std::size_t searched)
{
    // A blank line may begin in the part that has been searched.
    constexpr std::size_t overlap = 3;
    for (std::size_t at = text.find('\n', searched < overlap ? 0 : searched - overlap); at != std::string_view::npos;
         at = text.find('\n', at + 1)) {
        const std::string_view rest = text.substr(at + 1);
        if (rest.starts_with('\n')) {
            return at + 2;
        }
        if (rest.starts_with("\r\n")) {
            return at + 3;
        }
    }
    return 0;
}

encapsulated_parts read_encapsulated_parts(std::string_view value, std::size_t most_heads)
{
    const auto refuse = [] { throw std::runtime_error("answer not understood: its parts"); };
    encapsulated_parts parts;
    std::size_t* open = nullptr; // the head whose length the next offset determines
    std::size_t last = 0;
    for (bool ended = false; !ended;) {
        const std::size_t comma = std::min(value.find(','), value.size());
        const std::string_view entry = trimmed(value.substr(0, comma));
        value.remove_prefix(std::min(comma + 1, value.size()));
        const std::size_t mark = std::min(entry.find('='), entry.size());
        const std::string_view name = trimmed(entry.substr(0, mark));
        const std::string_view number = trimmed(entry.substr(std::min(mark + 1, entry.size())));
        std::size_t offset = 0;
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), offset);
        if (error != std::errc{} || end != number.data() + number.size() || offset < last || offset > most_heads ||
            (open == nullptr && offset != 0)) {
            refuse();
        }
        if (open != nullptr) {
            *open = offset - last;
        }
        last = offset;
        if (same_no_case(name, "req-hdr") && open == nullptr) {
            open = &parts.request_head;
            parts.is_response = false;
        } else if (same_no_case(name, "res-hdr") && open != &parts.response_head) {
            open = &parts.response_head;
            parts.is_response = true;
        } else if (same_no_case(name, "null-body")) {
            ended = true;
        } else if (same_no_case(name, "res-body") || same_no_case(name, "opt-body") || same_no_case(name, "req-body")) {
            parts.is_response = parts.is_response && !same_no_case(name, "req-body");
            parts.has_body = true;
            ended = true;
        } else {
            refuse();
        }
    }
    if (!trimmed(value).empty()) {
        refuse();
    }
    return parts;
}

} // namespace service
