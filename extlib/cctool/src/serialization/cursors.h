#pragma once

#include "cctool/serialization/reader.h"

namespace cctool::Serialization::StlDTree::detail {

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
