#include "tests/support/process_resources.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

/// The state of a thread of this process as the kernel gives it, such as 'R' or 'Z'.
char state_of(long thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(file, line);
    const auto name_end = line.rfind(") ");
    return name_end == std::string::npos ? '?' : line[name_end + 2];
}

/// Ends the first thread of this process, which stays listed, and then the process with the number of threads that are
/// counted.
[[noreturn]] void count_behind_a_listed_thread()
{
    const long first = ::syscall(SYS_gettid);
    std::thread([first] {
        while (state_of(first) != 'Z') {
            std::this_thread::yield();
        }
        std::_Exit(static_cast<int>(test::process_resources::now().threads));
    }).detach();
    ::syscall(SYS_exit, 0);
    std::abort();
}

TEST(ProcessResources, LeaveOutAThreadThatHasEndedAndIsStillListed)
{
    EXPECT_EXIT(count_behind_a_listed_thread(), testing::ExitedWithCode(1), "");
}

} // namespace
