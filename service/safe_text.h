#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Texts that come from a peer or an engine, made fit for where they go.
namespace service {

/// Padded Base64 without line breaks; nothing for any other text.
[[nodiscard]] std::optional<std::string> from_base64(std::string_view text);

/// UTF-8 as it is; anything else is read as Latin-1. Control characters become blanks. At most `longest` characters,
/// cut with "..." behind.
[[nodiscard]] std::string display_text(std::string_view bytes, std::size_t longest = 200);

/// `text` for HTML: the five characters that mean something there as entities.
[[nodiscard]] std::string html_escaped(std::string_view text);

/// `text` as a value of X-Infection-Found: ASCII without controls, ";" and "=", each replaced by "_"; at most 128
/// bytes; "unknown" for an empty one.
[[nodiscard]] std::string threat_name(std::string_view text);

} // namespace service
