#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace web {

/// Read-only sight of all bytes of a store at one moment. A view of memory is good as long as its store lives and
/// keeps its size; a view of a file is good on its own.
class data_view
{
public:
    [[nodiscard]] virtual std::uint64_t size() const = 0;
    [[nodiscard]] virtual const std::byte* address() const = 0;
    virtual ~data_view() = default;
};

/// What a store is made of.
class io_property
{
public:
    static constexpr std::uint32_t memory_kind = 1;
    static constexpr std::uint32_t file_kind = 2;

    [[nodiscard]] virtual std::uint32_t kind() const = 0;
    /// Raises error::win32exception; a file without bytes cannot be mapped and raises too.
    [[nodiscard]] virtual std::unique_ptr<data_view> view() = 0;
    /// The bytes in use, if the store keeps them in memory; false and nothing changed otherwise.
    virtual bool memory_range(std::byte*& base, std::uint64_t& size) = 0;
    /// The full name of the file, if the store is one; false and nothing changed otherwise.
    virtual bool file_name(std::wstring& name) = 0;
    virtual ~io_property() = default;
};

} // namespace web
