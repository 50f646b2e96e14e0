#include "tests/cctool/failing_new.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace test {

namespace {

constexpr std::size_t never = std::numeric_limits<std::size_t>::max();
thread_local std::size_t good_left = never;

void* allocate(std::size_t size)
{
    if (good_left != never) {
        if (good_left == 0) {
            throw std::bad_alloc();
        }
        --good_left;
    }
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

new_failure::new_failure(std::size_t good_allocations) noexcept
{
    good_left = good_allocations;
}

new_failure::~new_failure()
{
    good_left = never;
}

} // namespace test

void* operator new(std::size_t size)
{
    return test::allocate(size);
}

void* operator new[](std::size_t size)
{
    return test::allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}
