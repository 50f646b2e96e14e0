#pragma once

#include <cstddef>

namespace host {

/// The maximum number of characters without a blank in a header line. Together with the header's name the line remains
/// below the allowed maximum of 998.
inline constexpr std::size_t longest_word = 900;

/// The maximum number of characters in a folded header line, an encoded word or a line of quoted-printable text.
inline constexpr std::size_t longest_line = 76;

} // namespace host
