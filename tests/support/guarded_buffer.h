#pragma once

#include <cstddef>
#include <string_view>

namespace test {

/// A copy of some bytes that ends directly before a page without access, so that a read beyond the end faults.
class guarded_buffer
{
public:
    explicit guarded_buffer(std::string_view bytes);
    guarded_buffer(const guarded_buffer&) = delete;
    guarded_buffer& operator=(const guarded_buffer&) = delete;
    ~guarded_buffer();

    [[nodiscard]] const char* begin() const noexcept { return begin_; }
    [[nodiscard]] const char* end() const noexcept { return end_; }
    [[nodiscard]] std::string_view view() const noexcept { return {begin_, static_cast<std::size_t>(end_ - begin_)}; }

private:
    void* region_ = nullptr; // whole pages, the last one without access
    std::size_t region_size_ = 0;
    const char* begin_ = nullptr;
    const char* end_ = nullptr;
};

} // namespace test
