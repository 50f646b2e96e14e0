#include "tool/system/named_mutex.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <malloc.h>
#include <string>

namespace {

/// Holds mutexes of `count` names, one after the other, and returns the bytes of the heap that are in use afterwards.
std::size_t bytes_in_use_behind(std::size_t count, const std::wstring& prefix)
{
    for (std::size_t i = 0; i < count; ++i) {
        const winapi::named_mutex_lock held(prefix + std::to_wstring(i));
    }
    return ::mallinfo2().uordblks;
}

TEST(named_mutex, leaves_nothing_of_its_name_behind)
{
    constexpr std::size_t count = 500;
    const std::wstring prefix(200, L'n');
    const std::size_t before = bytes_in_use_behind(count, prefix + L"first");
    const std::size_t after = bytes_in_use_behind(count, prefix + L"second");
    EXPECT_LT(after, before + count * prefix.size()) << "the allocator itself may keep some pieces";
}

} // namespace
