// Replaces operator new of the test program: every allocation is counted. The aligned forms are not replaced; nothing
// that is measured uses them.

#include "tests/budget/counts.h"

#include <cstdlib>
#include <new>

namespace {

void* allocate(std::size_t size) noexcept
{
    budget::count_allocation(size);
    return std::malloc(size == 0 ? 1 : size);
}

void* allocate_or_throw(std::size_t size)
{
    void* const memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate_or_throw(size);
}

void* operator new[](std::size_t size)
{
    return allocate_or_throw(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}
