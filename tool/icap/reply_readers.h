#pragma once

#include "tool/icap/message.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Readers of the ICAP head of a reply. They never look at the encapsulated HTTP heads.
namespace icap {

/// "ISTag" as it stands on the wire, quotes included; empty when absent.
[[nodiscard]] std::string get_istag(const std::shared_ptr<message>& answer);

/// "Methods" split at every "," and every blank, so that neighbouring separators give empty names; no names when the
/// header is absent.
[[nodiscard]] std::vector<std::string> get_methods(const std::shared_ptr<message>& answer);

/// The number that "Preview" begins with; 0 when absent.
[[nodiscard]] std::uint32_t get_preview(const std::shared_ptr<message>& answer);

/// The value of `key` in "X-Infection-Found", a list "key=value;key=value;"; empty when there is none. Keys count case
/// and are trimmed, values are not trimmed and end at a further "=". Logs what it sees on logger icap.
[[nodiscard]] std::string get_infection_param(const std::shared_ptr<message>& answer, std::string_view key);

/// The number that `text` begins with, as atoi reads it: white space, a sign, digits; 0 without digits. What doesn't
/// fit 32 bits becomes the nearest number that does. Reads nothing behind `text`.
[[nodiscard]] std::int32_t leading_number(std::string_view text) noexcept;

} // namespace icap
