#pragma once

#include "store/property_value.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace host {

// Values as printable characters without blanks and ";", and back to the very same values.

/// A letter that tells the kind, and the value: "n" number, "r" real as 64 bits in hexadecimal, "g" identifier, "t"
/// text as percent-encoded UTF-8, "u" text that isn't well-formed as UTF-16LE in base64, "b" bytes in base64, "c" the
/// same behind a code page and ":", "o" a storage, "-" nothing. A capital is a list of that kind with "," behind each
/// value.
std::string value_text(const property_value& value);
/// False for what is no such text, or not of a kind that a value of that type has.
bool parse_value(std::string_view text, std::uint32_t type, property_value& value);

/// Letters, digits and most signs stay; everything else, "%" too, becomes "%" and two hexadecimal digits.
std::string percent_encode(std::string_view text);
/// What does not stand for a byte stays as it is.
std::string percent_decode(std::string_view text);

/// The bytes of base64 text. What isn't of base64 is skipped, padding may end any group, and a last group that isn't
/// whole is dropped.
std::string lenient_base64(std::string_view text);

/// A number in upper-case hexadecimal with so many digits at least.
std::string hex_text(std::uint64_t number, std::size_t digits);

/// "{876FC580-B672-40CF-B853-5D1F000D0FD6}"
std::string guid_text(const GUID& identifier);
bool parse_guid(std::string_view text, GUID& identifier);

} // namespace host
