#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Functions that make texts from a peer or an engine safe for their destination.
namespace service {

/// Decodes padded Base64 without line breaks. Returns nullopt for any other text.
[[nodiscard]] std::optional<std::string> from_base64(std::string_view text);

/// Returns true if the text is valid UTF-8, as an empty one is.
[[nodiscard]] bool is_utf8(std::string_view text);

/// Returns valid UTF-8 unchanged, and any other text decoded as Latin-1.
[[nodiscard]] std::string valid_utf8(std::string_view bytes);

/// Returns valid UTF-8 unchanged; any other text is decoded as Latin-1. Control characters become blanks. At most
/// `longest` characters; a longer text is truncated and ends with "...".
[[nodiscard]] std::string display_text(std::string_view bytes, std::size_t longest = 200);

/// Returns `text` escaped for HTML: the five special characters become entities.
[[nodiscard]] std::string html_escaped(std::string_view text);

/// Returns `text` as a value of X-Infection-Found: printable ASCII; blanks, ";", "=" and all other bytes are
/// replaced by "_"; at most 128 bytes; "unknown" for an empty text.
[[nodiscard]] std::string threat_name(std::string_view text);

} // namespace service
