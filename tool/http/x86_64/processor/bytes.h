#pragma once

#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

namespace processor {

/// 16 bytes in a register; see http::plain_bytes.
class bytes
{
public:
    static constexpr std::size_t size = 16;

    explicit bytes(const char* from) noexcept
        : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)))
    {}

    [[nodiscard]] std::uint32_t equal(char value) const noexcept
    {
        return mask(_mm_cmpeq_epi8(bytes_, _mm_set1_epi8(value)));
    }
    [[nodiscard]] std::uint32_t at_most(unsigned char value) const noexcept
    {
        const __m128i bound = _mm_set1_epi8(static_cast<char>(value));
        return mask(_mm_cmpeq_epi8(_mm_min_epu8(bytes_, bound), bytes_));
    }

private:
    [[nodiscard]] static std::uint32_t mask(__m128i truths) noexcept
    {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(truths));
    }

    __m128i bytes_;
};

} // namespace processor
