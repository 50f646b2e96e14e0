#pragma once

#include "store/property_value.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace host {

// Converts values to printable characters without blanks and ";", and back without loss.

/// Returns a letter for the kind, followed by the value: "n" number, "r" real as 64 bits in hexadecimal, "g"
/// identifier, "t" text as percent-encoded UTF-8, "u" text that is not well-formed as UTF-16LE in base64, "b" bytes in
/// base64, "c" bytes in base64 preceded by a code page and ":", "o" a storage, "-" nothing. A capital letter denotes a
/// list of that kind with "," after each value.
std::string value_text(const property_value& value);
/// Returns false if the text is invalid or of a kind that is not allowed for the type.
bool parse_value(std::string_view text, std::uint32_t type, property_value& value);

/// Letters, digits and most punctuation are unchanged; any other character, including "%", becomes "%" and two
/// hexadecimal digits.
std::string percent_encode(std::string_view text);
/// Sequences that are not valid escapes are unchanged.
std::string percent_decode(std::string_view text);

/// The bytes of base64 text. What isn't of base64 is skipped, padding may end any group, and a last group that isn't
/// whole is dropped.
std::string lenient_base64(std::string_view text);

/// Returns a number in upper-case hexadecimal with at least `digits` digits.
std::string hex_text(std::uint64_t number, std::size_t digits);

/// "{876FC580-B672-40CF-B853-5D1F000D0FD6}"
std::string guid_text(const GUID& identifier);
bool parse_guid(std::string_view text, GUID& identifier);

} // namespace host
