#pragma once

#include <utility>

namespace winapi {

/// Sole owner of one handle. Traits specify the handle's `type`, its `invalid()` value and `close(type)`, which must
/// not change the thread's last error.
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

    /// Passes the ownership of the handle to the caller, without closing it.
    [[nodiscard]] type release() noexcept { return std::exchange(handle_, Traits::invalid()); }

    /// Closes the handle and takes ownership of another one.
    void reset(type handle = Traits::invalid()) noexcept
    {
        const type old = std::exchange(handle_, handle);
        if (old != Traits::invalid() && old != handle) {
            Traits::close(old);
        }
    }

    /// Returns the place in which a call may store a handle; the handle held before is closed first.
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
