#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

/// Returns the code page number of a character set name, compared without regard to case; 0 for an unknown name.
std::uint32_t code_page_of(std::string_view charset);

/// Returns a character set name for a code page; empty for plain ASCII, which needs none, and for a code page without a
/// name.
std::string charset_of_page(std::uint32_t code_page);

} // namespace host
