#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

/// The code page number of a character set name, case-blind; 0 for a name that stands for none.
std::uint32_t code_page_of(std::string_view charset);

/// A character set name of a code page; empty for plain ASCII, which needs none, and for what has none.
std::string charset_of_page(std::uint32_t code_page);

} // namespace host
