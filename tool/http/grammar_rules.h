#pragma once

#include "tool/http/head_records.h"

#include <cstdint>
#include <string_view>

/// The rules that the grammars of all wire text share. Each rule reads at `at`: it moves `at` behind what it matched
/// and returns true, or returns false and leaves `at` where a sequence of its parts gave up. A caller that goes on
/// after a failure puts `at` back itself.
namespace http {

/// A line end: any number of blanks (no tabs), any number of CR, one LF.
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

/// Stores the value of matched decimal digits.
void digits(std::uint32_t& target, const char* begin, const char* end) noexcept;

/// Adds a matched header line to the table: the name is all ahead of the first ":", the value begins behind it and
/// behind the blanks that follow. A name that is already there keeps its first value.
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
/// A byte in 0x21 to 0xFF.
[[nodiscard]] constexpr bool is_word(char value) noexcept
{
    return byte(value) > 0x20;
}
/// One of the 19 bytes that end a token.
[[nodiscard]] bool is_separator(char value) noexcept;

inline bool eol(const char*& at, const char* end) noexcept
{
    return eol_tolerant_parser::parse(at, end);
}
inline bool colon(const char*& at, const char* end) noexcept
{
    return colon_tolerant_parser::parse(at, end);
}

/// Any number of blanks and tabs; always matches.
bool blanks(const char*& at, const char* end) noexcept;
/// One or more blanks or tabs.
bool gap(const char*& at, const char* end) noexcept;
/// A text, case counting. After a failure `at` is behind the bytes that still fitted.
bool literal(const char*& at, const char* end, std::string_view text) noexcept;
/// One or more bytes in 0x21 to 0xFF.
bool word(const char*& at, const char* end) noexcept;
/// An optional line end, then one or more blanks or tabs.
bool lws(const char*& at, const char* end) noexcept;
/// One or more bytes in 0x20 to 0x7F that are no separators.
bool token(const char*& at, const char* end) noexcept;
/// Any number of bytes but CR and LF, and of folds; always matches.
bool field_value(const char*& at, const char* end) noexcept;
/// Token, colon, value.
bool message_header(const char*& at, const char* end) noexcept;
/// Any number of header lines, each with its line end; always matches. A line whose line end is missing is not part of
/// the match but has been stored.
bool headers(const char*& at, const char* end, fields& out);

} // namespace rules
} // namespace http
