#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace web {

/// A read-only view of all bytes of a store at one moment. A view of memory is valid as long as its store exists and
/// keeps its size; a view of a file is independent of its store.
class data_view
{
public:
    [[nodiscard]] virtual std::uint64_t size() const = 0;
    [[nodiscard]] virtual const std::byte* address() const = 0;
    virtual ~data_view() = default;
};

/// The properties of a store's implementation.
class io_property
{
public:
    static constexpr std::uint32_t memory_kind = 1;
    static constexpr std::uint32_t file_kind = 2;

    [[nodiscard]] virtual std::uint32_t kind() const = 0;
    /// Returns a view, which the caller owns. Throws error::win32exception; a file without bytes cannot be mapped and
    /// throws too.
    [[nodiscard]] virtual std::unique_ptr<data_view> view() = 0;
    /// Stores the range of the bytes in use, if the store keeps them in memory; otherwise returns false and changes
    /// nothing.
    virtual bool memory_range(std::byte*& base, std::uint64_t& size) = 0;
    /// Stores the full name of the file, if the store is one; otherwise returns false and changes nothing.
    virtual bool file_name(std::wstring& name) = 0;
    virtual ~io_property() = default;
};

} // namespace web
