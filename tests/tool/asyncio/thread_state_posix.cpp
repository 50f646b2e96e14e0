#include "tests/tool/asyncio/thread_state_posix.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

namespace test {

bool is_asleep(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto name_end = text.rfind(')'); // the name may contain blanks and brackets
    return name_end == std::string::npos || text.compare(name_end, 3, ") R") != 0;
}

bool others_sleep()
{
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::all_of(begin(threads), end(threads), [](const std::filesystem::directory_entry& entry) {
        const pid_t thread = std::stoi(entry.path().filename().string());
        return thread == ::gettid() || is_asleep(thread);
    });
}

unsigned long times_asleep(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/status");
    constexpr std::string_view name = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name)) {
            return std::stoul(line.substr(name.size()));
        }
    }
    throw std::runtime_error("the kernel does not report how often a thread sleeps");
}

} // namespace test
