#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// Decodes base64 text. Up to two '=' at the end of a text of more than 3 characters are padding; at any other position
/// '=' has the value 0, like 'A'. The last group may have two or three characters. Throws
/// boost::archive::iterators::dataflow_exception for any other character, including white space, and for a single
/// character after the last complete group.
std::vector<std::byte> DecodeBase64(std::string_view text);
