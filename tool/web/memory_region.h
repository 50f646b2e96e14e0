#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace web {

/// A range of reserved addresses that never moves and uses memory only for the pages that were written to. Other pages
/// read as zeros. Not thread-safe.
class memory_region
{
public:
    /// Returns the system's page size in bytes.
    [[nodiscard]] static std::uint64_t page_size() noexcept;

    /// Reserves nothing.
    memory_region() noexcept = default;
    /// Reserves `size` bytes, a multiple of the page size; 0 reserves nothing. Throws error::win32exception.
    explicit memory_region(std::uint64_t size);
    memory_region(memory_region&& other) noexcept { swap(other); }
    memory_region& operator=(memory_region&& other) noexcept
    {
        memory_region taken(std::move(other));
        swap(taken);
        return *this;
    }
    memory_region(const memory_region&) = delete;
    memory_region& operator=(const memory_region&) = delete;
    ~memory_region();

    void swap(memory_region& other) noexcept
    {
        std::swap(base_, other.base_);
        std::swap(size_, other.size_);
        std::swap(present_, other.present_);
    }

    [[nodiscard]] std::byte* base() const noexcept { return base_; }
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

    /// Copy into and out of the region; the range must be within the region. Return false if a page could not be
    /// committed.
    [[nodiscard]] bool copy_in(std::uint64_t offset, const void* source, std::uint64_t count) noexcept;
    [[nodiscard]] bool copy_out(std::uint64_t offset, void* destination, std::uint64_t count) noexcept;

    /// Makes the first `count` bytes accessible directly. Throws error::win32exception.
    void make_present(std::uint64_t count);

private:
    std::byte* base_ = nullptr;
    std::uint64_t size_ = 0;
    std::uint64_t present_ = 0; // bytes from the start that are known to be backed by memory
};

} // namespace web
