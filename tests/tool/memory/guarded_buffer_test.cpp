#include "tests/support/guarded_buffer.h"
#include "tests/tool/memory/can_be_read.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using test::can_be_read;

TEST(guarded_buffer, holds_a_copy_of_the_bytes)
{
    for (const std::size_t size : {1U, 4095U, 4096U, 4097U, 100000U}) {
        std::string bytes(size, 'a');
        const test::guarded_buffer buffer(bytes);
        bytes.back() = 'b';
        EXPECT_EQ(buffer.view(), std::string(size, 'a'));
        EXPECT_EQ(buffer.end() - buffer.begin(), static_cast<std::ptrdiff_t>(size));
    }
}

TEST(guarded_buffer, may_be_empty)
{
    const test::guarded_buffer buffer("");
    EXPECT_EQ(buffer.begin(), buffer.end());
    EXPECT_NE(buffer.begin(), nullptr);
}

TEST(guarded_buffer, ends_right_before_a_byte_that_cannot_be_read)
{
    for (const std::size_t size : {0U, 1U, 4096U, 5000U}) {
        const test::guarded_buffer buffer(std::string(size, 'a'));
        EXPECT_FALSE(can_be_read(buffer.end()));
        if (size != 0) {
            EXPECT_TRUE(can_be_read(buffer.end() - 1));
            EXPECT_TRUE(can_be_read(buffer.begin()));
        }
    }
}

} // namespace
