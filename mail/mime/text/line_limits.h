#pragma once

#include <cstddef>

namespace host {

/// Characters without a blank that a header line takes: with the header's name it stays below the 998 that are allowed.
inline constexpr std::size_t longest_word = 900;

} // namespace host
