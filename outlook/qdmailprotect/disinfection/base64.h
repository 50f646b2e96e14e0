#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// The bytes behind base64 text. Up to two '=' at the end of a text of more than 3 characters are padding; everywhere
/// else '=' stands for 0, as 'A' does. The last group may be of two or three characters. Any other character, white
/// space included, and a single character behind the last whole group raise
/// boost::archive::iterators::dataflow_exception.
std::vector<std::byte> DecodeBase64(std::string_view text);
