#pragma once

#include "store/property_value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host::msg {

/// Converts HTML that a file contains as text to the bytes of PR_HTML: in `code_page`, which the message specifies for
/// them, or in ASCII if the message specifies none that the system supports. Other characters become numeric
/// references, so that no text is lost.
property_value html_bytes(const property_value& text, std::uint32_t code_page);

/// Returns the text in a code page; empty if it has characters that the code page lacks.
std::optional<std::string> narrow_exactly(std::wstring_view text, std::uint32_t code_page);

} // namespace host::msg
