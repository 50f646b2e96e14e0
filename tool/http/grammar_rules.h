#pragma once

#include "tool/http/byte_search.h"
#include "tool/http/head_records.h"

#include <cstdint>
#include <string_view>

/// The rules that the grammars share. A rule reads at `at`. On a match it advances `at` behind the match and returns
/// true. Otherwise it returns false and leaves `at` where the sequence of its parts gave up; a caller that continues
/// after a failure resets `at` itself. No rule reads at or behind `end`.
namespace http {

/// A line end: any number of blanks (not tabs), any number of CR, one LF.
struct eol_tolerant_parser
{
    static bool parse(const char*& at, const char* end) noexcept
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
};

/// Any bytes up to the first ":", line ends included, and that ":".
struct colon_tolerant_parser
{
    static bool parse(const char*& at, const char* end) noexcept
    {
        at = search::byte(at, end, ':');
        if (at == end) {
            return false;
        }
        ++at;
        return true;
    }
};

namespace detail {

/// Stores the matched range.
inline void sequence(range& target, const char* begin, const char* end) noexcept
{
    target = range(begin, static_cast<std::size_t>(end - begin));
}

} // namespace detail

namespace rules {

[[nodiscard]] constexpr unsigned char byte(char value) noexcept
{
    return static_cast<unsigned char>(value);
}
[[nodiscard]] constexpr bool is_gap(char value) noexcept
{
    return value == ' ' || value == '\t';
}
[[nodiscard]] constexpr bool is_digit(char value) noexcept
{
    return value >= '0' && value <= '9';
}
/// Returns true for one of the 19 bytes that end a token.
[[nodiscard]] bool is_separator(char value) noexcept;

inline bool eol(const char*& at, const char* end) noexcept
{
    return eol_tolerant_parser::parse(at, end);
}
inline bool colon(const char*& at, const char* end) noexcept
{
    return colon_tolerant_parser::parse(at, end);
}

/// Any number of blanks and tabs. Always matches.
inline bool blanks(const char*& at, const char* end) noexcept
{
    while (at != end && is_gap(*at)) {
        ++at;
    }
    return true;
}
/// One or more blanks or tabs.
inline bool gap(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    blanks(at, end);
    return at != begin;
}
/// The given text, case-sensitive. After a failure `at` is behind the bytes that matched.
inline bool literal(const char*& at, const char* end, std::string_view text) noexcept
{
    for (const char wanted : text) {
        if (at == end || *at != wanted) {
            return false;
        }
        ++at;
    }
    return true;
}
/// One or more bytes in 0x21 to 0xFF.
inline bool word(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    at = search::at_most(at, end, 0x20);
    return at != begin;
}
/// An optional line end, then one or more blanks or tabs.
inline bool lws(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    if (!eol(at, end)) {
        at = begin;
    }
    return gap(at, end);
}
/// One or more bytes in 0x20 to 0x7F that are not separators.
bool token(const char*& at, const char* end) noexcept;
/// A token, a colon as colon_tolerant_parser reads it, and any number of bytes except CR and LF and of folds (lws).
bool message_header(const char*& at, const char* end) noexcept;
/// Any number of header lines, each with its line end. Always matches. A line without a line end is stored in `out` but
/// is not part of the match. `out` must be empty. The name of a stored line is the text ahead of the first ":"; the
/// value begins behind the ":" and the blanks that follow it.
bool headers(const char*& at, const char* end, fields& out);

} // namespace rules
} // namespace http
