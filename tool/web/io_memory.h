#pragma once

#include "tool/web/io_data.h"
#include "tool/web/io_property.h"
#include "tool/web/memory_region.h"

#include <cstdint>
#include <memory>
#include <string>

namespace web {

/// A store in memory. Its addresses are stable, its capacity is fixed at construction, and only pages that contain data
/// use memory. A read at the end returns 0 bytes; a write at the end of the capacity is an error.
class io_memory final : public io_data, public io_property
{
public:
    /// `capacity` is in bytes and is rounded up to whole pages; 0 is allowed. Throws error::win32exception.
    explicit io_memory(std::uint64_t capacity);

    /// Reads nothing for a null destination or 0 bytes. Throws std::runtime_error "io_memory::read(): unexpected
    /// error".
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override;
    /// Writes at most up to the capacity and returns the count. Writes nothing for a null source or 0 bytes. Throws
    /// std::out_of_range "io_memory::write(): offset out of range" for an offset at or beyond the capacity, and
    /// std::runtime_error "io_memory::write(): unexpected error" for a failed copy.
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override;
    /// As write() at the end, with the texts of "io_memory::append()".
    std::uint64_t append(const void* source, std::uint64_t count) override;
    void swap(io_data& other) override;
    /// Does not clear any bytes. Throws std::out_of_range "io_memory::size(): offset out of range" beyond the capacity.
    void size(std::uint64_t new_size) override;
    [[nodiscard]] std::uint64_t size() override { return size_; }

    [[nodiscard]] std::uint32_t kind() const override { return memory_kind; }
    [[nodiscard]] std::unique_ptr<data_view> view() override;
    bool memory_range(std::byte*& base, std::uint64_t& size) override;
    bool file_name(std::wstring& name) override;

    [[nodiscard]] std::uint64_t capacity() const noexcept { return region_.size(); }
    [[nodiscard]] std::uint64_t page() const noexcept { return page_; }

private:
    /// The texts that differ between the two ways of writing.
    struct write_errors
    {
        const char* out_of_range;
        const char* failed_copy;
    };
    std::uint64_t write_at(std::uint64_t offset, const void* source, std::uint64_t count, const write_errors& errors);

    std::uint64_t page_;
    memory_region region_;
    std::uint64_t size_ = 0;
};

} // namespace web
