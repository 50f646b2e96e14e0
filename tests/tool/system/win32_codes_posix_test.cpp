#include "tool/system/win32_codes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <utility>

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

TEST(code_from_errno, knows_every_error_that_has_a_counterpart)
{
    const std::pair<int, std::uint32_t> codes[]{
        {0, 0},
        {EPERM, 5},
        {ENOENT, 2},
        {EINTR, 10004},
        {EIO, 1117},
        {EBADF, 6},
        {EAGAIN, 10035},
        {EWOULDBLOCK, 10035},
        {ENOMEM, 8},
        {EACCES, 5},
        {EFAULT, 998},
        {EBUSY, 170},
        {EEXIST, 80},
        {ENOTDIR, 3},
        {EISDIR, 5},
        {EINVAL, 87},
        {ENFILE, 4},
        {EMFILE, 4},
        {EFBIG, 223},
        {ENOSPC, 112},
        {EROFS, 19},
        {EPIPE, 10058},
        {ENAMETOOLONG, 206},
        {ENOSYS, 120},
        {EINPROGRESS, 10036},
        {EALREADY, 10037},
        {ENOTSOCK, 10038},
        {EDESTADDRREQ, 10039},
        {EMSGSIZE, 10040},
        {EPROTOTYPE, 10041},
        {ENOPROTOOPT, 10042},
        {EPROTONOSUPPORT, 10043},
        {EOPNOTSUPP, 10045},
        {EAFNOSUPPORT, 10047},
        {EADDRINUSE, 10048},
        {EADDRNOTAVAIL, 10049},
        {ENETDOWN, 10050},
        {ENETUNREACH, 10051},
        {ENETRESET, 10052},
        {ECONNABORTED, 10053},
        {ECONNRESET, 10054},
        {ENOBUFS, 10055},
        {EISCONN, 10056},
        {ENOTCONN, 10057},
        {ETIMEDOUT, 10060},
        {ECONNREFUSED, 10061},
        {EHOSTUNREACH, 10065},
    };
    for (const auto& [error, code] : codes) {
        EXPECT_EQ(winapi::code_from_errno(error), code) << error;
    }
}

TEST(code_from_errno, has_an_answer_for_an_unknown_error)
{
    EXPECT_EQ(winapi::code_from_errno(54321), winapi::code::no_system_resources);
}

} // namespace
