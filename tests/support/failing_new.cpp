#include "tests/support/failing_new.h"

#include <cstdlib>
#include <new>

namespace {

struct plan
{
    std::size_t left; ///< allocations up to the one that is refused; 0: none is refused
    test::refusals which;
    bool refused;
};

thread_local plan own_plan{0, test::refusals::one, false};

bool refuses() noexcept
{
    plan& own = own_plan;
    if (own.left > 1) {
        --own.left;
        return false;
    }
    const bool now = own.left == 1;
    own.refused = own.refused || now;
    own.left = own.which == test::refusals::all_behind ? own.left : 0;
    return now;
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

failing_new::failing_new(std::size_t nth, refusals which) noexcept
{
    own_plan = {nth, which, false};
}

failing_new::~failing_new()
{
    own_plan.left = 0;
}

bool failing_new::failed() const noexcept
{
    return own_plan.refused;
}

} // namespace test
