#pragma once

#include <cstddef>

namespace test {

/// While it lives, the process's operator new fails with std::bad_alloc after so many good allocations of this thread.
class new_failure
{
public:
    explicit new_failure(std::size_t good_allocations) noexcept;
    new_failure(const new_failure&) = delete;
    new_failure& operator=(const new_failure&) = delete;
    ~new_failure();
};

} // namespace test
