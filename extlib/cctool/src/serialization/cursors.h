#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace cctool::Serialization::StlDTree::detail {

/// Converts an integer of this machine to big-endian order, or back.
template <typename Unsigned>
[[nodiscard]] constexpr Unsigned BigEndian(Unsigned value) noexcept
{
    static_assert(std::endian::native == std::endian::little);
    if constexpr (sizeof(Unsigned) == 8) {
        return __builtin_bswap64(value);
    } else if constexpr (sizeof(Unsigned) == 4) {
        return __builtin_bswap32(value);
    } else if constexpr (sizeof(Unsigned) == 2) {
        return __builtin_bswap16(value);
    } else {
        return value;
    }
}

/// Reads a blob: a position that never passes the end. Integers are big-endian.
class Reader
{
public:
    Reader(const void* base, std::size_t size) noexcept
        : base_(static_cast<const std::uint8_t*>(base))
        , size_(size)
    {}

    /// Returns false and consumes nothing if too few bytes are left.
    template <typename Integer>
    [[nodiscard]] bool Read(Integer& value) noexcept
    {
        static_assert(std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>);
        const std::uint8_t* bytes = Take(sizeof(Integer));
        if (bytes == nullptr) {
            return false;
        }
        std::make_unsigned_t<Integer> read = 0;
        std::memcpy(&read, bytes, sizeof read);
        value = static_cast<Integer>(BigEndian(read));
        return true;
    }

    /// Skips `count` bytes and returns the first of them; returns null and consumes nothing if fewer are left.
    [[nodiscard]] const std::uint8_t* Take(std::uint64_t count) noexcept
    {
        if (count > Left()) {
            return nullptr;
        }
        const std::uint8_t* bytes = base_ + position_;
        position_ += static_cast<std::size_t>(count);
        return bytes;
    }

    [[nodiscard]] std::size_t Left() const noexcept { return size_ - position_; }

private:
    const std::uint8_t* base_;
    std::size_t size_;
    std::size_t position_ = 0;
};

/// Writes a blob into memory of a known size and never beyond it. Integers are big-endian.
class Writer
{
public:
    Writer(std::uint8_t* base, std::size_t size) noexcept
        : next_(base)
        , left_(size)
    {}

    template <typename Integer>
    [[nodiscard]] bool Write(Integer value) noexcept
    {
        static_assert(std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>);
        if (left_ < sizeof(Integer)) {
            return false;
        }
        const auto bits = BigEndian(static_cast<std::make_unsigned_t<Integer>>(value));
        std::memcpy(next_, &bits, sizeof bits);
        Advance(sizeof bits);
        return true;
    }

    [[nodiscard]] bool WriteBytes(const void* bytes, std::size_t count) noexcept
    {
        if (left_ < count) {
            return false;
        }
        if (count != 0) {
            std::memcpy(next_, bytes, count);
        }
        Advance(count);
        return true;
    }

    [[nodiscard]] std::size_t Left() const noexcept { return left_; }

private:
    void Advance(std::size_t count) noexcept
    {
        next_ += count;
        left_ -= count;
    }

    std::uint8_t* next_;
    std::size_t left_;
};

} // namespace cctool::Serialization::StlDTree::detail
