#pragma once

#include "tests/budget/counts.h"
#include "tool/memory/heap.h"

#include <cstddef>

namespace budget {

/// A private heap whose allocations are counted.
class measured_heap final : public memory::heap
{
public:
    [[nodiscard]] void* allocate(std::size_t size) override
    {
        count_allocation(size);
        return heap::allocate(size);
    }
};

} // namespace budget
