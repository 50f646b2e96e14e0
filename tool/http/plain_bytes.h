#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace http {

/// 16 bytes, compared one by one. It works on every processor and specifies how the other classes of bytes work.
class plain_bytes
{
public:
    static constexpr std::size_t size = 16;

    /// Reads `size` bytes.
    explicit plain_bytes(const char* from) noexcept { std::copy_n(from, size, bytes_.begin()); }

    /// Returns a mask, in which bit N is set if byte N equals `value`.
    [[nodiscard]] std::uint32_t equal(char value) const noexcept
    {
        return mask([value](char byte) { return byte == value; });
    }
    /// The same for the bytes that are at most `value`, compared as unsigned numbers.
    [[nodiscard]] std::uint32_t at_most(unsigned char value) const noexcept
    {
        return mask([value](char byte) { return static_cast<unsigned char>(byte) <= value; });
    }

private:
    template <typename Test>
    [[nodiscard]] std::uint32_t mask(Test test) const noexcept
    {
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < size; ++index) {
            bits |= static_cast<std::uint32_t>(test(bytes_[index])) << index;
        }
        return bits;
    }

    std::array<char, size> bytes_;
};

} // namespace http
