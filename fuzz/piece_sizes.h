#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Sizes of pieces, from 1 byte to a few hundred, in an order that a byte of the input selects.
class piece_sizes
{
public:
    explicit piece_sizes(std::uint8_t seed)
        : state_(seed)
    {}
    std::size_t next()
    {
        state_ = state_ * 1103515245U + 12345U;
        const std::uint32_t drawn = (state_ >> 16) & 0x7FFFU;
        return drawn % 4 == 0 ? 1 + drawn % 400 : 1 + drawn % 12;
    }

private:
    std::uint32_t state_;
};

} // namespace fuzz
