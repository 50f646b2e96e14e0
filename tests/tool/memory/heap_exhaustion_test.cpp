// Not part of a build with sanitizers, whose allocators end the process at such a size.
#include "tool/memory/heap.h"
#include "tool/system/errors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace {

TEST(heap, raises_with_the_platforms_code_when_there_is_not_enough)
{
    memory::heap heap;
    try {
        heap.release(heap.allocate(std::numeric_limits<std::size_t>::max() / 2));
        FAIL() << "no exception";
    } catch (const error::win32exception& failure) {
        EXPECT_EQ(failure.code(), 8U);
        EXPECT_NE(std::strstr(failure.what(), "tool\\memory\\heap("), nullptr) << failure.what();
    }
}
} // namespace
