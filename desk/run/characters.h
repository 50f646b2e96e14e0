#pragma once

#include <cstddef>

namespace host {

/// Returns the number of terminal columns of a character: 2 for a wide one, 0 for a combining one, else 1.
std::size_t columns_of_character(char32_t character);
/// Returns true for a character that controls a terminal instead of being displayed.
bool is_control(char32_t character);

} // namespace host
