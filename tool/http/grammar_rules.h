#pragma once

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
    static bool parse(const char*& at, const char* end) noexcept;
};

/// Any bytes up to the first ":", line ends included, and that ":".
struct colon_tolerant_parser
{
    static bool parse(const char*& at, const char* end) noexcept;
};

namespace detail {

/// Stores the matched range.
inline void sequence(range& target, const char* begin, const char* end) noexcept
{
    target = range(begin, static_cast<std::size_t>(end - begin));
}

/// Stores the value of matched decimal digits. Only the first 31 digits count.
void digits(std::uint32_t& target, const char* begin, const char* end) noexcept;

/// Adds a matched header line to the table. The name is the text ahead of the first ":"; the value begins behind the
/// ":" and the blanks that follow it. If the name is already in the table, the line is ignored.
void header(fields& target, const char* begin, const char* end);

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
/// Returns true for a byte in 0x21 to 0xFF.
[[nodiscard]] constexpr bool is_word(char value) noexcept
{
    return byte(value) > 0x20;
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
bool blanks(const char*& at, const char* end) noexcept;
/// One or more blanks or tabs.
bool gap(const char*& at, const char* end) noexcept;
/// The given text, case-sensitive. After a failure `at` is behind the bytes that matched.
bool literal(const char*& at, const char* end, std::string_view text) noexcept;
/// One or more bytes in 0x21 to 0xFF.
bool word(const char*& at, const char* end) noexcept;
/// An optional line end, then one or more blanks or tabs.
bool lws(const char*& at, const char* end) noexcept;
/// One or more bytes in 0x20 to 0x7F that are not separators.
bool token(const char*& at, const char* end) noexcept;
/// Any number of bytes except CR and LF, and of folds (lws). Always matches.
bool field_value(const char*& at, const char* end) noexcept;
/// A token, a colon as colon_tolerant_parser reads it, a value.
bool message_header(const char*& at, const char* end) noexcept;
/// Any number of header lines, each with its line end. Always matches. A line without a line end is stored in `out` but
/// is not part of the match.
bool headers(const char*& at, const char* end, fields& out);

} // namespace rules
} // namespace http
