#pragma once

#include "mail/inputs/byte_stream.h"

#include <array>
#include <string>

namespace host::test {

/// Reads a stream to its end, a few bytes at a time.
inline std::string text_of(byte_stream& stream)
{
    std::string text;
    std::array<char, 7> block{};
    for (std::size_t got = stream.read(block.data(), block.size()); got != 0;
         got = stream.read(block.data(), block.size())) {
        text.append(block.data(), got);
    }
    return text;
}

} // namespace host::test
