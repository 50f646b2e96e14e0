#include "tool/memory/heap.h"

#include <gtest/gtest.h>

#include <malloc.h>

namespace {

TEST(heap_on_posix, returns_a_large_piece_to_the_system_when_it_is_released)
{
    memory::heap heap;
    const auto before = ::mallinfo2().hblkhd;
    heap.release(heap.allocate(64U << 20U));
    EXPECT_EQ(::mallinfo2().hblkhd, before);
}

} // namespace
