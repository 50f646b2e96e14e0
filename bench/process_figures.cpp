#include "bench/process_figures.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace bench {

namespace {

std::string folder_of(int process)
{
    return "/proc/" + std::to_string(process) + "/";
}

/// Returns the number of KiB in a line of a file, in bytes; 0 if there is no such line.
double kibibytes_in(const std::string& file, const std::string& heading)
{
    constexpr double kibibyte = 1024;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(heading)) {
            return std::strtod(line.c_str() + heading.size(), nullptr) * kibibyte;
        }
    }
    return 0;
}

std::size_t entries_of(const std::string& folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace

double memory_of(int process)
{
    double bytes = kibibytes_in(folder_of(process) + "smaps_rollup", "Pss:");
    std::ifstream children(folder_of(process) + "task/" + std::to_string(process) + "/children");
    for (int child = 0; children >> child;) {
        bytes += memory_of(child);
    }
    return bytes;
}

double peak_memory_of(int process)
{
    return kibibytes_in(folder_of(process) + "status", "VmHWM:");
}

std::chrono::nanoseconds processor_time_of(int process)
{
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the time of a process cannot be read");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::size_t descriptors_of(int process)
{
    return entries_of(folder_of(process) + "fd");
}

std::size_t threads_of(int process)
{
    return entries_of(folder_of(process) + "task");
}

} // namespace bench
