#pragma once

#include "tool/memory/heap.h"

#include <cstddef>

namespace http {

/// The bytes that wait in an analyzer: a fixed block from the process's private heap, which never grows. No lock; the
/// analyzer's lock guards it.
class inmemory_cache
{
public:
    static constexpr std::size_t capacity = 16640; ///< bytes, and so the largest head

    inmemory_cache();
    inmemory_cache(const inmemory_cache&) = delete;
    inmemory_cache& operator=(const inmemory_cache&) = delete;

    [[nodiscard]] const char* begin() const noexcept { return block_.data(); }
    [[nodiscard]] const char* end() const noexcept { return end_; }
    [[nodiscard]] bool empty() const noexcept { return end_ == block_.data(); }
    [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - block_.data()); }

    /// Copies the range behind the data and returns its length. More than fits raises std::out_of_range
    /// "inmemory_cache::append() failed: max size exceeded" and changes nothing.
    std::size_t append(const char* first, const char* last);
    /// Removes a range of the data and moves the rest down. Bounds outside the data raise std::out_of_range
    /// "inmemory_cache::eraise() failed: out of bound for first" or "... for last".
    void eraise(const char* first, const char* last);

private:
    memory::block block_;
    char* end_; ///< end of the data; the block's end bounds it
};

} // namespace http
