#pragma once

#include <cstddef>

namespace host {

/// Terminal columns of a character: 2 for a wide one, 0 for one that is written over the one before it, else 1.
std::size_t columns_of_character(char32_t character);
/// True for a character that steers a terminal instead of being shown.
bool is_control(char32_t character);

} // namespace host
