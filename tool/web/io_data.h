#pragma once

#include <cstdint>

namespace web {

/// A byte object with random access, the common interface of all body stores. Sizes and offsets are in bytes. Not
/// thread-safe. Failures throw exceptions derived from std::exception.
class io_data
{
public:
    /// Copies up to `count` bytes from `offset`; returns the count read, 0 at the end.
    virtual std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) = 0;
    /// Copies up to `count` bytes to `offset`; returns the count written.
    virtual std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) = 0;
    /// Writes at the end; returns the count written.
    virtual std::uint64_t append(const void* source, std::uint64_t count) = 0;
    /// Exchanges contents with an object of the same class. Throws std::bad_cast for another class.
    virtual void swap(io_data& other) = 0;
    /// Sets the size. Whether new bytes are zeros depends on the store.
    virtual void size(std::uint64_t new_size) = 0;
    [[nodiscard]] virtual std::uint64_t size() = 0;
    virtual ~io_data() = default;
};

} // namespace web
