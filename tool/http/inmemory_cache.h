#pragma once

#include "tool/memory/heap.h"

#include <cstddef>

namespace http {

/// The bytes that wait in an analyzer: a block of fixed size on the process's private heap, which never grows. Not
/// thread-safe; the analyzer's lock protects it.
class inmemory_cache
{
public:
    static constexpr std::size_t capacity = 16640; ///< bytes; therefore the largest head

    /// Makes an empty cache. Throws error::win32exception if the block cannot be allocated.
    inmemory_cache();
    inmemory_cache(const inmemory_cache&) = delete;
    inmemory_cache& operator=(const inmemory_cache&) = delete;

    /// The bounds of the data. append() and eraise() move the end.
    [[nodiscard]] const char* begin() const noexcept { return block_.data(); }
    [[nodiscard]] const char* end() const noexcept { return end_; }
    [[nodiscard]] bool empty() const noexcept { return end_ == block_.data(); }
    [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - block_.data()); }

    /// Copies the range behind the data and returns its length in bytes. Throws std::out_of_range
    /// "inmemory_cache::append() failed: max size exceeded" if the range does not fit; the cache is then unchanged.
    std::size_t append(const char* first, const char* last);
    /// Removes a range of the data and moves the rest down. Throws std::out_of_range "inmemory_cache::eraise() failed:
    /// out of bound for first" or "... for last" if a bound is not within the data; the cache is then unchanged.
    void eraise(const char* first, const char* last);
    /// Removes all data.
    void clear() noexcept { end_ = block_.data(); }

private:
    memory::block block_;
    char* end_; ///< end of the data, at most the end of the block
};

} // namespace http
