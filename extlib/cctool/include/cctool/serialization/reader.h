#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace cctool::Serialization::StlDTree::detail {

/// The numbers that identify the types of values in a blob.
enum class TypeCode : std::uint32_t
{
    Signed8 = 1,
    Unsigned8 = 2,
    Signed16 = 3,
    Unsigned16 = 4,
    Signed32 = 5,
    Unsigned32 = 6,
    Signed64 = 7,
    Unsigned64 = 8,
    NarrowString = 9,
    WideString = 10,
    Bool = 11,
    Binary = 12,
    Array = 13,
    Container = 14
};

template <typename T>
inline constexpr TypeCode type_code_of{};
template <>
inline constexpr TypeCode type_code_of<std::int8_t> = TypeCode::Signed8;
template <>
inline constexpr TypeCode type_code_of<std::uint8_t> = TypeCode::Unsigned8;
template <>
inline constexpr TypeCode type_code_of<std::int16_t> = TypeCode::Signed16;
template <>
inline constexpr TypeCode type_code_of<std::uint16_t> = TypeCode::Unsigned16;
template <>
inline constexpr TypeCode type_code_of<std::int32_t> = TypeCode::Signed32;
template <>
inline constexpr TypeCode type_code_of<std::uint32_t> = TypeCode::Unsigned32;
template <>
inline constexpr TypeCode type_code_of<std::int64_t> = TypeCode::Signed64;
template <>
inline constexpr TypeCode type_code_of<std::uint64_t> = TypeCode::Unsigned64;
template <>
inline constexpr TypeCode type_code_of<bool> = TypeCode::Bool;

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

} // namespace cctool::Serialization::StlDTree::detail
