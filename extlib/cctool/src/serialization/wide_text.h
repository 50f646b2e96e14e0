#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace cctool::Serialization::StlDTree::detail {

/// Returns the text of big-endian units of 16 bits. Where wchar_t is wider, two surrogates become one code point.
[[nodiscard]] std::wstring WideTextOf(const std::uint8_t* bytes, std::size_t count);

} // namespace cctool::Serialization::StlDTree::detail
