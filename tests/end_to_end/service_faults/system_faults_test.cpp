// Faults that a library simulates which is loaded into the service, and those of its memory and descriptors.

#include "tests/end_to_end/service_faults/clamd_stand_in.h"
#include "tests/end_to_end/service_faults/process_fixture.h"
#include "tests/support/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <fstream>
#include <future>
#include <string>
#include <unistd.h>
#include <vector>

namespace system_faults_test {

using test::conduct;
using testing::HasSubstr;

class faults_of_a_system : public test::service_process
{
protected:
    /// Returns the bytes that the service has mapped.
    [[nodiscard]] std::uint64_t mapped_bytes() const
    {
        std::uint64_t pages = 0;
        std::ifstream("/proc/" + std::to_string(service->id()) + "/statm") >> pages;
        return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    }
    void set_clock(long long seconds) const { folder.write("clock", std::to_string(seconds)); }
};

TEST_F(faults_of_a_system, no_memory_for_an_object_leaves_large_mail_unscanned)
{
    start({"--memory-body", "1000000000"});
    expect_next_is_right();
    constexpr std::size_t large = std::size_t{16} << 20U;
    limit(RLIMIT_AS, mapped_bytes() + (std::size_t{4} << 20U));
    expect_unscanned(open_large(large));
    expect_error_line("requests are refused: their objects cannot be kept: ");
    expect_next_is_right();
    lift_limit(RLIMIT_AS);
    EXPECT_EQ(open_large(large).verdict, ScanResult::Blocked);
}

TEST_F(faults_of_a_system, no_descriptors_leave_the_mail_of_new_readers_unscanned_until_there_are_some)
{
    start({});
    expect_next_is_right();
    limit(RLIMIT_NOFILE, 1);
    const auto other = test::reader_at(service->port(), test::patience);
    const auto opened = test::open_condemned(*other);
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    EXPECT_EQ(opened.verdict, ScanResult::None);
    expect_error_line("could not accept: Too many open files");
    expect_next_is_right(); // that of the reader who has a session
    lift_limit(RLIMIT_NOFILE);
    const auto next = test::reader_at(service->port(), patient);
    auto condemned = test::open_condemned(*next);
    for (int i = 0; i < 1000 && condemned.verdict == ScanResult::None; ++i) {
        condemned = test::open_condemned(*next);
    }
    EXPECT_EQ(condemned.verdict, ScanResult::Blocked);
}

TEST_F(faults_of_a_system, no_threads_end_the_start_with_the_reason)
{
    // The last number of threads with which the service cannot start is one less than it needs.
    bool started = false;
    for (int threads = 0; threads < 64 && !started; ++threads) {
        test::child_process program("/usr/bin/env",
                                    {"LD_PRELOAD=" SYSTEM_FAULTS, "SYSTEM_FAULTS_THREADS=" + std::to_string(threads),
                                     POSTWARDEN_SERVICE, "--port", "0"});
        started = program.read_line().has_value();
        if (started) {
            EXPECT_GE(threads, 2); // those that serve sockets
            program.kill(SIGTERM);
            EXPECT_EQ(program.wait(), (test::child_process::exit_status{0, 0}));
        } else {
            EXPECT_EQ(program.wait(), (test::child_process::exit_status{1, 0})) << threads << program.errors();
            EXPECT_THAT(program.errors(), HasSubstr("postwarden-service: ")) << threads;
        }
    }
    EXPECT_TRUE(started);
    start({});
    expect_next_is_right();
}

TEST_F(faults_of_a_system, a_clock_that_jumps_ends_no_scan_and_no_wait)
{
    test::clamd_stand_in daemon;
    set_clock(0);
    start({"--engine", daemon.engine(), "--scan-timeout", "600", "--probe-interval", "600", "--idle-timeout", "600"},
          {"/usr/bin/env", "LD_PRELOAD=" SYSTEM_FAULTS, "SYSTEM_FAULTS_CLOCK=" + (folder.path() / "clock").string()});
    expect_next_is_right();
    constexpr long long years = 40LL * 366 * 86400;
    for (const long long shift : {years, -years}) {
        // An object is under way while the clock jumps; a verdict in time is still one.
        daemon.behave(conduct::slow);
        auto opening = std::async(std::launch::async, [this] { return test::open_condemned(*reader); });
        ASSERT_TRUE(daemon.wait_until_one_is_held());
        set_clock(shift);
        daemon.behave(conduct::honest);
        daemon.release();
        EXPECT_EQ(opening.get().verdict, ScanResult::Blocked);
        expect_next_is_right();
    }
    EXPECT_EQ(service->errors(), "");
    // The clock of the service has jumped: a line that it writes has another year.
    set_clock(years);
    daemon.behave(conduct::garbage);
    expect_unscanned(test::open_condemned(*reader));
    expect_error_line(") could not judge an object: ");
    EXPECT_THAT(service->errors(), testing::Not(testing::StartsWith("202")));
    daemon.behave(conduct::honest);
    expect_next_is_right();
}

} // namespace system_faults_test
