#pragma once

#include <cstddef>
#include <memory>

namespace memory {
class heap;
} // namespace memory

namespace tpl {

/// A byte buffer of fixed size on the process's private heap. Its bytes are not initialised. Throws
/// error::win32exception if the allocation fails.
class buffer
{
public:
    explicit buffer(std::size_t size);
    buffer(const buffer&) = delete;
    buffer& operator=(const buffer&) = delete;
    ~buffer();

    [[nodiscard]] char* begin() noexcept { return begin_; }
    [[nodiscard]] const char* begin() const noexcept { return begin_; }
    /// Returns the position behind the last byte.
    [[nodiscard]] char* end() noexcept { return end_; }
    [[nodiscard]] const char* end() const noexcept { return end_; }
    /// Returns the position behind the last allocated byte.
    [[nodiscard]] const char* limit() const noexcept { return limit_; }
    [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - begin_); }

    /// Throws std::out_of_range "buffer::operator[] failed: out of bound" for an index that is not below size().
    [[nodiscard]] char& operator[](std::size_t index);
    [[nodiscard]] const char& operator[](std::size_t index) const;

private:
    std::shared_ptr<memory::heap> heap_;
    char* begin_;
    char* end_;
    char* limit_;
};

} // namespace tpl
