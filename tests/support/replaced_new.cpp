// Replaces operator new and delete of the program. The aligned forms remain those of the library.

#include "tests/support/replaced_new.h"

#include <cstdlib>
#include <new>

namespace {

void* allocate(std::size_t size)
{
    void* const memory = test::memory_or_null(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate(size);
}

void* operator new[](std::size_t size)
{
    return allocate(size);
}

// A sanitizer's own would allocate what the operators below cannot free.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return test::memory_or_null(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return test::memory_or_null(size);
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
