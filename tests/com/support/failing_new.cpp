#include "tests/com/support/failing_new.h"

#include <windows.h>

#include <cstdlib>
#include <new>

namespace {

DWORD armed_thread = 0; // 0: none
std::size_t left = 0;   // allocations until the one that fails

bool refuses() noexcept
{
    return armed_thread != 0 && armed_thread == ::GetCurrentThreadId() && left != 0 && --left == 0;
}

void* allocate(std::size_t size)
{
    void* const memory = refuses() ? nullptr : std::malloc(size == 0 ? 1 : size);
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

namespace test {

failing_new::failing_new(std::size_t nth) noexcept
{
    left = nth;
    armed_thread = ::GetCurrentThreadId();
}

failing_new::~failing_new()
{
    armed_thread = 0;
}

bool failing_new::failed() const noexcept
{
    return left == 0;
}

} // namespace test
