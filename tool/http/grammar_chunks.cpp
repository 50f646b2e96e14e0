#include "tool/http/grammar.h"
#include "tool/http/grammar_rules.h"

#include <limits>

namespace http {

namespace {

using namespace rules;

/// A byte in 0x20 to 0xFF, or white space with an optional line end ahead of it.
bool qdtext(const char*& at, const char* end) noexcept
{
    if (at != end && byte(*at) >= 0x20) {
        ++at;
        return true;
    }
    return lws(at, end);
}

/// A text in double quotes. A backslash includes the byte behind it if that is below 0x80.
bool quoted(const char*& at, const char* end) noexcept
{
    if (!literal(at, end, "\"")) {
        return false;
    }
    while (at != end && *at != '"') {
        if (*at == '\\' && end - at > 1 && byte(at[1]) <= 0x7F) {
            at += 2;
            continue;
        }
        const char* next = at;
        if (!qdtext(next, end)) {
            break;
        }
        at = next;
    }
    return literal(at, end, "\"");
}

/// An optional "=" and a token or quoted text behind an extension's name.
void extension_value(const char*& at, const char* end) noexcept
{
    const char* value = at;
    if (!literal(value, end, "=")) {
        return;
    }
    const char* next = value;
    if (token(next, end) || (next = value, quoted(next, end))) {
        at = next;
    }
}

/// Any number of ";" with a name and value or with any bytes in 0x20 to 0x7F. Always matches.
void chunk_extension(const char*& at, const char* end, range& out) noexcept
{
    const char* begin = at;
    while (at != end && *at == ';') {
        ++at;
        if (token(at, end)) {
            extension_value(at, end);
        }
        while (at != end && byte(*at) >= 0x20 && byte(*at) <= 0x7F) {
            ++at;
        }
    }
    detail::sequence(out, begin, at);
}

/// Returns the value of a hexadecimal digit, or 16 for any other byte.
std::uint32_t digit_value(char digit) noexcept
{
    if (is_digit(digit)) {
        return static_cast<std::uint32_t>(digit - '0');
    }
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<std::uint32_t>(lower - 'a' + 10) : 16;
}

/// One or more hexadecimal digits. A number of more than 32 bits does not match.
bool hexadecimal(const char*& at, const char* end, std::uint32_t& out) noexcept
{
    const char* begin = at;
    std::uint32_t value = 0;
    for (; at != end; ++at) {
        const std::uint32_t digit = digit_value(*at);
        if (digit == 16) {
            break;
        }
        if (value > std::numeric_limits<std::uint32_t>::max() / 16) {
            return false;
        }
        value = value * 16 + digit;
    }
    if (at == begin) {
        return false;
    }
    out = value;
    return true;
}

bool header_line(const char*& at, const char* end) noexcept
{
    const char* line = at;
    if (!message_header(line, end) || !eol(line, end)) {
        return false;
    }
    at = line;
    return true;
}

/// Any number of header lines, kept as text.
void trailer_lines(const char*& at, const char* end, range& out) noexcept
{
    const char* begin = at;
    while (header_line(at, end)) {
    }
    detail::sequence(out, begin, at);
}

/// A blank line, one or more header lines, an optional blank line.
bool trailers_behind_blank_line(const char*& at, const char* end, range& out) noexcept
{
    const char* lines = at;
    if (!eol(lines, end)) {
        return false;
    }
    const char* first = lines;
    if (!header_line(first, end)) {
        return false;
    }
    trailer_lines(lines, end, out);
    const char* blank_line = lines;
    at = eol(blank_line, end) ? blank_line : lines;
    return true;
}

} // namespace

parse_info parse_last_chunk_lines(const char* begin, const char* end, chunk_line& out, const char*& last_line)
{
    const char* at = begin;
    last_line = begin;
    for (const char* line = at; header_line(at, end); line = at) {
        last_line = line;
    }
    detail::sequence(out.trailers, begin, at);
    const bool hit = eol(at, end);
    return {hit, at};
}

parse_info parse_chunk_size(const char* begin, const char* end, chunk_line& out)
{
    const char* at = begin;
    if (!hexadecimal(at, end, out.size)) {
        return {false, at};
    }
    blanks(at, end);
    chunk_extension(at, end, out.extension);
    const bool hit = eol(at, end);
    return {hit, at};
}

parse_info parse_last_chunk(const char* begin, const char* end, chunk_line& out)
{
    const char* at = begin;
    while (at != end && *at == '0') {
        ++at;
    }
    if (at == begin) {
        return {false, at};
    }
    blanks(at, end);
    chunk_extension(at, end, out.extension);
    if (!eol(at, end)) {
        return {false, at};
    }
    if (trailers_behind_blank_line(at, end, out.trailers)) {
        return {true, at};
    }
    trailer_lines(at, end, out.trailers);
    const bool hit = eol(at, end);
    return {hit, at};
}

} // namespace http
