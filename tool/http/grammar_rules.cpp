#include "tool/http/grammar_rules.h"

#include <array>

namespace http {

namespace {

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

/// The name and the colon of a header. Only the first byte must be one of a token, because a colon may have any bytes
/// ahead of it, and none of a token is a colon.
inline bool name_and_colon(const char*& at, const char* end) noexcept
{
    return at != end && token_table[rules::byte(*at)] && rules::colon(at, end);
}

/// Any number of bytes except CR and LF, and of folds.
inline void field_value(const char*& at, const char* end) noexcept
{
    for (;;) {
        // All bytes up to the line end belong to the value. The line end begins a fold or ends the value.
        at = search::line_end(at, end);
        const char* fold = at;
        if (!rules::lws(fold, end)) {
            return;
        }
        at = fold;
    }
}

} // namespace

namespace rules {

bool is_separator(char value) noexcept
{
    return separators[byte(value)];
}

bool token(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    while (at != end && token_table[byte(*at)]) {
        ++at;
    }
    return at != begin;
}

bool message_header(const char*& at, const char* end) noexcept
{
    if (!name_and_colon(at, end)) {
        return false;
    }
    field_value(at, end);
    return true;
}

bool headers(const char*& at, const char* end, fields& out)
{
    for (const char* line = at; name_and_colon(line, end);) {
        const range name(at, static_cast<std::size_t>(line - at - 1));
        while (line != end && *line == ' ') {
            ++line;
        }
        const char* const value = line;
        field_value(line, end);
        out.append(name, range(value, static_cast<std::size_t>(line - value)));
        if (!eol(line, end)) {
            break;
        }
        at = line;
    }
    out.order();
    return true;
}

} // namespace rules
} // namespace http
