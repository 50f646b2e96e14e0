#include "tool/system/win32_codes.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(last_error_code, belongs_to_the_thread)
{
    winapi::last_error_code(6);
    EXPECT_EQ(winapi::last_error_code(), 6U);
    std::uint32_t seen_elsewhere = 0;
    std::thread([&seen_elsewhere] {
        winapi::last_error_code(10038);
        seen_elsewhere = winapi::last_error_code();
    }).join();
    EXPECT_EQ(seen_elsewhere, 10038U);
    EXPECT_NE(winapi::last_error_code(), 10038U) << "what another thread sets does not show here";
}

} // namespace
