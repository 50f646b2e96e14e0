#include "tests/tool/asyncio/thread_state_posix.h"

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace test {

bool is_asleep(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto name_end = text.rfind(')'); // the name may contain blanks and brackets
    return name_end == std::string::npos || text.compare(name_end, 3, ") R") != 0;
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
