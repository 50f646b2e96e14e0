#pragma once

#include "tool/web/io_data.h"
#include "tool/web/io_property.h"
#include "tool/web/memory_region.h"

#include <cstdint>
#include <memory>
#include <string>

namespace web {

/// A store in memory. Its addresses are stable, its capacity is fixed at construction, and memory is spent only as
/// far as data reaches. Reading at the end is an empty read; writing at the end of the capacity is an error.
class io_memory final : public io_data, public io_property
{
public:
    /// The capacity is rounded up to whole pages; 0 is allowed. Raises error::win32exception.
    explicit io_memory(std::uint64_t capacity);

    /// Null or 0 bytes read nothing. Raises std::runtime_error "io_memory::read(): unexpected error".
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override;
    /// Cuts at the capacity and tells so by the count. An offset at or beyond the capacity raises std::out_of_range
    /// "io_memory::write(): offset out of range", a failed copy std::runtime_error "io_memory::write(): unexpected
    /// error". Null or 0 bytes write nothing.
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override;
    /// As write() at the end, with the texts of "io_memory::append()".
    std::uint64_t append(const void* source, std::uint64_t count) override;
    void swap(io_data& other) override;
    /// Clears nothing. Beyond the capacity raises std::out_of_range "io_memory::size(): offset out of range".
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
