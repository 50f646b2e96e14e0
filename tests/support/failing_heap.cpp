#include "tests/support/failing_heap.h"

#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"

namespace test {

void* failing_heap::allocate(std::size_t count)
{
    std::size_t left = left_.load();
    do {
        if (left == 0) {
            throw error::win32exception(winapi::code::not_enough_memory, "tests\\support\\failing_heap", __LINE__);
        }
    } while (!left_.compare_exchange_weak(left, left - 1));
    void* const bytes = heap::allocate(count);
    ++outstanding_;
    return bytes;
}

void failing_heap::release(void* bytes) noexcept
{
    if (bytes != nullptr) {
        --outstanding_;
    }
    heap::release(bytes);
}

} // namespace test
