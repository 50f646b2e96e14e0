#pragma once

#include "desk/run/console.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <sstream>

namespace host::test {

/// The streams of a command, and what an interruption changes in the process.
class interruption_fixture : public testing::Test
{
protected:
    static std::ptrdiff_t descriptors()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
    /// Returns whether SIGINT and SIGTERM are blocked.
    static std::array<int, 2> blocked()
    {
        sigset_t set;
        EXPECT_EQ(0, pthread_sigmask(SIG_BLOCK, nullptr, &set));
        return {sigismember(&set, SIGINT), sigismember(&set, SIGTERM)};
    }

    std::ostringstream out;
    std::ostringstream err;
    const console where{out, err};
    const std::ptrdiff_t descriptors_before = descriptors();
    const std::array<int, 2> blocked_before = blocked();
};

} // namespace host::test
