#include "tool/http/grammar_rules.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace http {

namespace {

const char* find_byte(const char* at, const char* end, char value) noexcept
{
    if (at == end) {
        return end;
    }
    const void* found = std::memchr(at, value, static_cast<std::size_t>(end - at));
    return found == nullptr ? end : static_cast<const char*>(found);
}

constexpr std::array<bool, 256> table_of(std::string_view members)
{
    std::array<bool, 256> table{};
    for (const char member : members) {
        table[rules::byte(member)] = true;
    }
    return table;
}

constexpr auto separators = table_of("()<>@,;:\\\"/[]?={} \t");

constexpr std::array<bool, 256> token_bytes()
{
    std::array<bool, 256> table{};
    for (std::size_t value = 0x20; value <= 0x7F; ++value) {
        table[value] = !separators[value];
    }
    return table;
}

constexpr auto token_table = token_bytes();

} // namespace

bool eol_tolerant_parser::parse(const char*& at, const char* end) noexcept
{
    while (at != end && *at == ' ') {
        ++at;
    }
    while (at != end && *at == '\r') {
        ++at;
    }
    if (at == end || *at != '\n') {
        return false;
    }
    ++at;
    return true;
}

bool colon_tolerant_parser::parse(const char*& at, const char* end) noexcept
{
    at = find_byte(at, end, ':');
    if (at == end) {
        return false;
    }
    ++at;
    return true;
}

namespace detail {

void digits(std::uint32_t& target, const char* begin, const char* end) noexcept
{
    std::array<char, 32> text{};
    const auto count = std::min(static_cast<std::size_t>(end - begin), text.size() - 1);
    std::copy_n(begin, count, text.begin());
    target = static_cast<std::uint32_t>(std::atoi(text.data()));
}

void header(fields& target, const char* begin, const char* end)
{
    const char* colon = find_byte(begin, end, ':');
    const char* value = colon == end ? end : colon + 1;
    while (value != end && *value == ' ') {
        ++value;
    }
    range name;
    range text;
    sequence(name, begin, colon);
    sequence(text, value, end);
    target.emplace(name, text);
}

} // namespace detail

namespace rules {

bool is_separator(char value) noexcept
{
    return separators[byte(value)];
}

bool blanks(const char*& at, const char* end) noexcept
{
    while (at != end && is_gap(*at)) {
        ++at;
    }
    return true;
}

bool gap(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    blanks(at, end);
    return at != begin;
}

bool literal(const char*& at, const char* end, std::string_view text) noexcept
{
    for (const char wanted : text) {
        if (at == end || *at != wanted) {
            return false;
        }
        ++at;
    }
    return true;
}

bool word(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    while (at != end && is_word(*at)) {
        ++at;
    }
    return at != begin;
}

bool lws(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    if (!eol(at, end)) {
        at = begin;
    }
    return gap(at, end);
}

bool token(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    while (at != end && token_table[byte(*at)]) {
        ++at;
    }
    return at != begin;
}

bool field_value(const char*& at, const char* end) noexcept
{
    while (at != end) {
        // All bytes up to the line end belong to the value. The line end begins a fold or ends the value.
        at = find_byte(at, find_byte(at, end, '\n'), '\r');
        const char* fold = at;
        if (!lws(fold, end)) {
            break;
        }
        at = fold;
    }
    return true;
}

bool message_header(const char*& at, const char* end) noexcept
{
    return token(at, end) && colon(at, end) && field_value(at, end);
}

bool headers(const char*& at, const char* end, fields& out)
{
    while (true) {
        const char* line = at;
        if (!message_header(line, end)) {
            return true;
        }
        detail::header(out, at, line);
        if (!eol(line, end)) {
            return true;
        }
        at = line;
    }
}

} // namespace rules
} // namespace http
