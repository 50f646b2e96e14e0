#pragma once

#include "cctool/serialization/reader.h"
#include "cctool/serialization/tag_id.h"

#include <string>

namespace cctool::Serialization {

/// Reads a blob value by value in the order in which they are written, for a reader who expects certain tags and types
/// in a certain order. Every function returns false for anything else, and the position is then not specified. The tree
/// of container.h reads every blob.
class BlobReader
{
public:
    /// The bytes must outlive the reader.
    BlobReader(const void* data, std::size_t size) noexcept
        : reader_(data, size)
    {}

    /// Reads the number of entries of the outermost container.
    [[nodiscard]] bool ReadCount(std::uint64_t& count) noexcept { return reader_.Read(count); }
    /// Reads the beginning of a nested array or container, whose elements are next.
    [[nodiscard]] bool EnterArray(std::uint64_t& count) noexcept
    {
        return IsNext(StlDTree::detail::TypeCode::Array) && reader_.Read(count);
    }
    [[nodiscard]] bool EnterContainer(std::uint64_t& count) noexcept
    {
        return IsNext(StlDTree::detail::TypeCode::Container) && reader_.Read(count);
    }

    /// Reads the tag of an entry, which must be this one.
    [[nodiscard]] bool ReadTag(std::uint32_t expected) noexcept
    {
        std::uint32_t tag = 0;
        return reader_.Read(tag) && tag == expected;
    }

    /// Reads a value of this type.
    template <typename T>
    [[nodiscard]] bool Read(T& value) noexcept
    {
        if (!IsNext(StlDTree::detail::type_code_of<T>)) {
            return false;
        }
        if constexpr (std::is_same_v<T, bool>) {
            std::uint8_t byte = 0;
            const bool read = reader_.Read(byte);
            value = byte != 0;
            return read;
        } else {
            return reader_.Read(value);
        }
    }
    [[nodiscard]] bool Read(std::wstring& text);

private:
    [[nodiscard]] bool IsNext(StlDTree::detail::TypeCode type) noexcept
    {
        std::uint32_t code = 0;
        return reader_.Read(code) && code == static_cast<std::uint32_t>(type);
    }

    StlDTree::detail::Reader reader_;
};

} // namespace cctool::Serialization
