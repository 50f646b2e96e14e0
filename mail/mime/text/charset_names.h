#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

/// A character set that mail names.
struct charset
{
    std::string_view name;      ///< as mail is written, such as "iso-8859-1"
    std::uint32_t page = 0;     ///< number of the code page
    std::string_view converter; ///< name for the converters of the system; of a superset where mail means one
};

/// Returns the character set of a name or an alias, compared without regard to case, to "_" for "-" and to a leading
/// "x-"; null for an unknown one.
const charset* find_charset(std::string_view name);

/// Returns the code page number of a character set name or alias; 0 for an unknown one.
std::uint32_t code_page_of(std::string_view charset);

/// Returns a character set name for a code page; empty for plain ASCII, which needs none, and for a code page without a
/// name.
std::string charset_of_page(std::uint32_t code_page);

} // namespace host
