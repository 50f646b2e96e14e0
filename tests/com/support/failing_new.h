#pragma once

#include <cstddef>

namespace test {

/// While it lives, the `nth` allocation of this thread by operator new, counted from 1, raises std::bad_alloc; the
/// others succeed. Replaces the operators of the whole test program; one at a time.
class failing_new
{
public:
    explicit failing_new(std::size_t nth) noexcept;
    failing_new(const failing_new&) = delete;
    failing_new& operator=(const failing_new&) = delete;
    ~failing_new();

    /// True once the allocation has been refused.
    [[nodiscard]] bool failed() const noexcept;
};

} // namespace test
