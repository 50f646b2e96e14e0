#pragma once

#include "tool/icap/message.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Readers for the ICAP head of a response. They do not use the encapsulated HTTP heads. `answer` must not be null.
/// Header names are compared case-insensitively.
namespace icap {

/// Returns the value of "ISTag" as received, with its quotes; empty if absent.
[[nodiscard]] std::string get_istag(const std::shared_ptr<message>& answer);

/// Returns the names in "Methods", empty if the header is absent. The value is split at every "," and every blank, so
/// "REQMOD, RESPMOD" gives an empty name between the two.
[[nodiscard]] std::vector<std::string> get_methods(const std::shared_ptr<message>& answer);

/// Returns the number that the value of "Preview" begins with, as leading_number() reads it; 0 if absent. A negative
/// number is converted to 2^32 less its amount.
[[nodiscard]] std::uint32_t get_preview(const std::shared_ptr<message>& answer);

/// Returns the value of `key` in "X-Infection-Found", a list "key=value;key=value;". Returns an empty string if the
/// header or the key is absent. Keys are case-sensitive and trimmed. Values are not trimmed and end at a further "=".
/// The first entry with the key counts. Logs what it reads to the logger icap, at the levels 300 and 500.
///
/// Example: of "Type=0; Resolution=2; Threat=name;" the value of "Resolution" is "2".
[[nodiscard]] std::string get_infection_param(const std::shared_ptr<message>& answer, std::string_view key);

/// Returns the number that `text` begins with, as atoi reads it: white space, a sign, digits. Returns 0 without digits.
/// A number that does not fit 32 bits becomes the nearest one that does. Reads no byte behind `text`.
[[nodiscard]] std::int32_t leading_number(std::string_view text) noexcept;

} // namespace icap
