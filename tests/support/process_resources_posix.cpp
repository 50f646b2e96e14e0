#include "tests/support/process_resources.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace test {

namespace {

constexpr unsigned long exiting_flag = 0x4; // PF_EXITING of the kernel, set before a joining thread is woken

/// True for a thread that is on its way out: the kernel lists it for a moment after it has been joined.
bool is_exiting(const std::filesystem::path& task)
{
    std::ifstream file(task / "stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto name_end = text.rfind(')'); // the name may contain blanks and brackets
    if (name_end == std::string::npos) {
        return true; // gone meanwhile
    }
    std::istringstream fields(text.substr(name_end + 1));
    std::string skipped;
    constexpr int fields_before_flags = 6; // state, parent, group, session, terminal, its group
    for (int field = 0; field < fields_before_flags; ++field) {
        fields >> skipped;
    }
    unsigned long flags = 0;
    fields >> flags;
    return (flags & exiting_flag) != 0;
}

std::size_t count_threads()
{
    std::size_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        count += is_exiting(task.path()) ? 0U : 1U;
    }
    return count;
}

std::size_t count_descriptors()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace

process_resources process_resources::now()
{
    return {count_threads(), count_descriptors()};
}

} // namespace test
