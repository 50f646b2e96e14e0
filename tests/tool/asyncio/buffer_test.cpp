#include "tool/asyncio/buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

namespace {

TEST(Buffer, HasItsFixedSizeBetweenBeginAndLimit)
{
    const tpl::buffer bytes(16384);
    EXPECT_EQ(bytes.size(), 16384U);
    EXPECT_EQ(bytes.end() - bytes.begin(), 16384);
    EXPECT_EQ(bytes.limit() - bytes.begin(), 16384);
}

TEST(Buffer, HoldsWhatIsWrittenUpToItsLastByte)
{
    tpl::buffer bytes(16384);
    std::memset(bytes.begin(), 'a', bytes.size());
    bytes[16383] = 'z';
    EXPECT_EQ(bytes[0], 'a');
    EXPECT_EQ(bytes[16382], 'a');
    EXPECT_EQ(bytes.begin()[16383], 'z');
    const auto& read_only = bytes;
    EXPECT_EQ(read_only[16383], 'z');
}

TEST(Buffer, RaisesOutOfRangeBehindItsEnd)
{
    tpl::buffer bytes(16384);
    const auto& read_only = bytes;
    for (const std::size_t index : {std::size_t{16384}, std::size_t{16385}, static_cast<std::size_t>(-1)}) {
        EXPECT_THROW(static_cast<void>(bytes[index]), std::out_of_range);
        try {
            static_cast<void>(read_only[index]);
            ADD_FAILURE() << "index " << index << " was accepted";
        } catch (const std::out_of_range& problem) {
            EXPECT_STREQ(problem.what(), "buffer::operator[] failed: out of bound");
        }
    }
}

TEST(Buffer, OfSizeZeroHasNoByte)
{
    tpl::buffer bytes(0);
    EXPECT_EQ(bytes.begin(), bytes.end());
    EXPECT_THROW(static_cast<void>(bytes[0]), std::out_of_range);
}

} // namespace
