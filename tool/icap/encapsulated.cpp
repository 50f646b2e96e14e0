#include "tool/icap/encapsulated.h"

#include "tool/icap/reply_readers.h"
#include "tool/icap/white_space.h"

#include <array>
#include <stdexcept>

namespace icap {
namespace {

struct entry
{
    std::string_view name;
    std::uint8_t encapsulated_offsets::*flag;
    std::uint32_t encapsulated_offsets::*offset;
};

// In the order in which the names are tried. No name is the beginning of another, so the order does not matter.
constexpr std::array<entry, 6> entries{{
    {"req-hdr", &encapsulated_offsets::req_hdr, &encapsulated_offsets::req_hdr_offset},
    {"res-hdr", &encapsulated_offsets::res_hdr, &encapsulated_offsets::res_hdr_offset},
    {"req-body", &encapsulated_offsets::req_body, &encapsulated_offsets::req_body_offset},
    {"res-body", &encapsulated_offsets::res_body, &encapsulated_offsets::res_body_offset},
    {"opt-body", &encapsulated_offsets::opt_body, &encapsulated_offsets::opt_body_offset},
    {"null-body", &encapsulated_offsets::null_body, &encapsulated_offsets::null_body_offset},
}};

bool is_gap(char c) noexcept
{
    return c == ' ' || c == '\t';
}

bool is_digit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

template <class Test>
std::size_t skip(std::string_view text, std::size_t position, Test test) noexcept
{
    while (position < text.size() && test(text[position])) {
        ++position;
    }
    return position;
}

const entry* entry_at(std::string_view text) noexcept
{
    for (const entry& candidate : entries) {
        if (text.starts_with(candidate.name.front()) && text.starts_with(candidate.name)) {
            return &candidate;
        }
    }
    return nullptr;
}

/// Stores a matched entry; of two entries of one name the first counts. The name extends to the "=": with a gap it is
/// another name, which is never looked up.
void encapsulated_header(const entry& found, bool gap_before_equals, std::string_view digits,
                         encapsulated_offsets& offsets) noexcept
{
    if (!gap_before_equals && offsets.*(found.flag) == 0) {
        offsets.*(found.flag) = 1;
        offsets.*(found.offset) = static_cast<std::uint32_t>(leading_number(digits));
    }
}

/// Reads one entry at `position` and moves `position` behind it. Leaves it unchanged if there is no entry.
bool read_entry(std::string_view text, std::size_t& position, encapsulated_offsets& offsets) noexcept
{
    const entry* found = entry_at(text.substr(position));
    if (found == nullptr) {
        return false;
    }
    const std::size_t name_end = position + found->name.size();
    const std::size_t equals = skip(text, name_end, is_gap);
    if (equals == text.size() || text[equals] != '=') {
        return false;
    }
    const std::size_t digits = skip(text, equals + 1, is_gap);
    const std::size_t end = skip(text, digits, is_digit);
    if (end == digits) {
        return false;
    }
    encapsulated_header(*found, equals != name_end, text.substr(digits, end - digits), offsets);
    position = end;
    return true;
}

std::uint32_t head_length(const http::message& message)
{
    return static_cast<std::uint32_t>(message.raw_head().size());
}

void add_entry(std::string& text, std::string_view name, std::uint32_t offset, bool first)
{
    if (!first) {
        text += ", ";
    }
    text += name;
    text += '=';
    text += std::to_string(offset);
}

} // namespace

std::optional<encapsulated_list> read_encapsulated(std::string_view value) noexcept
{
    encapsulated_list list;
    if (!read_entry(value, list.length, list.offsets)) {
        return std::nullopt;
    }
    while (list.length < value.size() && value[list.length] == ',') {
        std::size_t position = skip(value, list.length + 1, is_white_space);
        if (!read_entry(value, position, list.offsets)) {
            break;
        }
        list.length = position;
    }
    return list;
}

encapsulated_offsets encapsulated_from_messages(http::message* request, http::message* response)
{
    encapsulated_offsets offsets;
    std::uint32_t request_length = 0;
    if (request != nullptr) {
        request_length = head_length(*request);
        offsets.req_hdr = 1;
        if (request->body_size() != 0) {
            if (response != nullptr) {
                throw std::runtime_error("'req_body' cannot be placed side-by-side with 'res_body'");
            }
            offsets.req_body = 1;
            offsets.req_body_offset = request_length;
            return offsets;
        }
    }
    if (response == nullptr) {
        offsets.null_body = 1;
        offsets.null_body_offset = request_length;
        return offsets;
    }
    offsets.res_hdr = 1;
    offsets.res_hdr_offset = request_length;
    const std::uint32_t end = request_length + head_length(*response);
    if (response->body_size() != 0) {
        offsets.res_body = 1;
        offsets.res_body_offset = end;
    } else {
        offsets.null_body = 1;
        offsets.null_body_offset = end;
    }
    return offsets;
}

std::string encapsulated_text(const encapsulated_offsets& offsets)
{
    if (offsets.req_body != 0 && (offsets.res_hdr != 0 || offsets.res_body != 0)) {
        throw std::runtime_error("'req-body' cannot be placed side-by-side with 'res-body'");
    }
    std::string text;
    if (offsets.req_hdr != 0) {
        add_entry(text, "req-hdr", offsets.req_hdr_offset, true);
    }
    if (offsets.req_body != 0) {
        add_entry(text, "req-body", offsets.req_body_offset, text.empty());
    }
    if (offsets.res_hdr != 0) {
        add_entry(text, "res-hdr", offsets.res_hdr_offset, text.empty());
    }
    if (offsets.res_body != 0) {
        add_entry(text, "res-body", offsets.res_body_offset, text.empty());
    }
    if (offsets.null_body != 0) {
        // The separator is written even with nothing ahead of it; no message is made without its own head.
        add_entry(text, "null-body", offsets.null_body_offset, false);
    }
    return text;
}

} // namespace icap
