// Counts every allocation of the test program, except those of aligned memory, which nothing that is measured uses.

#include "tests/budget/counts.h"
#include "tests/support/replaced_new.h"

#include <cstdlib>

void* test::memory_or_null(std::size_t size) noexcept
{
    budget::count_allocation(size);
    return std::malloc(size == 0 ? 1 : size);
}
