#pragma once

#include <utility>

namespace winapi {

/// Sole owner of one handle. Traits give the handle's `type`, its `invalid()` value and `close(type)`, which must
/// keep the thread's last error as it was.
template <typename Traits>
class unique_handle
{
public:
    using type = typename Traits::type;

    unique_handle() noexcept = default;
    explicit unique_handle(type handle) noexcept
        : handle_(handle)
    {}
    unique_handle(unique_handle&& other) noexcept
        : handle_(other.release())
    {}
    unique_handle& operator=(unique_handle&& other) noexcept
    {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    unique_handle(const unique_handle&) = delete;
    unique_handle& operator=(const unique_handle&) = delete;
    ~unique_handle() { reset(); }

    [[nodiscard]] type get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != Traits::invalid(); }

    /// Gives the handle away without closing it.
    [[nodiscard]] type release() noexcept { return std::exchange(handle_, Traits::invalid()); }

    /// Closes the handle that is held and takes another.
    void reset(type handle = Traits::invalid()) noexcept
    {
        const type old = std::exchange(handle_, handle);
        if (old != Traits::invalid() && old != handle) {
            Traits::close(old);
        }
    }

    /// Where a call may store a handle; what was held is closed first.
    [[nodiscard]] type* put() noexcept
    {
        reset();
        return &handle_;
    }

    void swap(unique_handle& other) noexcept { std::swap(handle_, other.handle_); }

private:
    type handle_ = Traits::invalid();
};

} // namespace winapi
