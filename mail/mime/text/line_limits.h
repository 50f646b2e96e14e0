#pragma once

#include <cstddef>

namespace host {

/// The maximum number of characters without a blank in a header line. Together with the header's name the line remains
/// below the allowed maximum of 998.
inline constexpr std::size_t longest_word = 900;

} // namespace host
