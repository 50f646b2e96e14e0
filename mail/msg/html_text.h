#pragma once

#include "store/property_value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host::msg {

/// HTML that a file has as text, as the bytes that PR_HTML consists of: in `code_page`, which the message tells for
/// them, or in ASCII when it tells none that the system has. Characters beyond it become numeric references, so that
/// nothing gets lost.
property_value html_bytes(const property_value& text, std::uint32_t code_page);

/// Text in a code page; empty when it has characters that the code page lacks.
std::optional<std::string> narrow_exactly(std::wstring_view text, std::uint32_t code_page);

} // namespace host::msg
