#include "doctor/program_run_posix.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace program_run_posix_test {

using namespace doctor;
using namespace std::chrono_literals;

constexpr auto long_enough = 60s;

TEST(program_run, has_status_and_both_outputs)
{
    const program_end end = run_program({"sh", "-c", "echo out; echo err >&2; exit 7"}, long_enough);
    EXPECT_EQ(end.status, 7);
    EXPECT_EQ(end.output, "out\nerr\n");
}

TEST(program_run, bounds_the_output)
{
    const program_end end = run_program({"sh", "-c", "head -c 200000 /dev/zero | tr '\\0' x"}, long_enough);
    EXPECT_EQ(end.output, std::string(65536, 'x'));
    EXPECT_EQ(end.status, 0);
}

TEST(program_run, kills_a_program_that_does_not_end)
{
    EXPECT_THROW((void)run_program({"sleep", "3600"}, 50ms), std::runtime_error);
}

TEST(program_run, fails_without_the_program_and_at_a_signal)
{
    EXPECT_THROW((void)run_program({"/nowhere/program"}, long_enough), std::runtime_error);
    EXPECT_THROW((void)run_program({"sh", "-c", "kill -9 $$"}, long_enough), std::runtime_error);
}

} // namespace program_run_posix_test
