#include "tool/system/win32_codes.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(code_from_errno, gives_winsock_numbers_for_socket_errors)
{
    EXPECT_EQ(winapi::code_from_errno(EWOULDBLOCK), 10035U);
    EXPECT_EQ(winapi::code_from_errno(ECONNREFUSED), 10061U);
    EXPECT_EQ(winapi::code_from_errno(ECONNRESET), 10054U);
    EXPECT_EQ(winapi::code_from_errno(ECONNABORTED), 10053U);
    EXPECT_EQ(winapi::code_from_errno(EPIPE), 10058U);
    EXPECT_EQ(winapi::code_from_errno(ENOTSOCK), 10038U);
    EXPECT_EQ(winapi::code_from_errno(ETIMEDOUT), 10060U);
}

TEST(code_from_errno, gives_win32_numbers_for_the_rest)
{
    EXPECT_EQ(winapi::code_from_errno(0), 0U);
    EXPECT_EQ(winapi::code_from_errno(ENOENT), 2U);
    EXPECT_EQ(winapi::code_from_errno(EACCES), 5U);
    EXPECT_EQ(winapi::code_from_errno(EBADF), 6U);
    EXPECT_EQ(winapi::code_from_errno(ENOMEM), 8U);
    EXPECT_EQ(winapi::code_from_errno(ENOSPC), 112U);
}

TEST(code_from_errno, has_an_answer_for_an_unknown_error)
{
    EXPECT_EQ(winapi::code_from_errno(54321), winapi::code::no_system_resources);
}

} // namespace
