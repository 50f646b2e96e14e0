#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace test {

/// The numbers of threads and open descriptors of the process; zeros on a system that does not list them.
struct resource_count
{
    std::size_t threads = 0;
    std::size_t descriptors = 0;
};

inline std::size_t entries_of(const char* folder)
{
    std::error_code absent;
    const std::filesystem::directory_iterator entries(folder, absent);
    return absent ? 0 : static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

inline resource_count count_resources()
{
    return {entries_of("/proc/self/task"), entries_of("/proc/self/fd")};
}

/// Returns true as soon as there are no more threads and descriptors than `limit`. A joined thread may be listed for a
/// moment longer.
inline bool resources_fall_to(const resource_count& limit)
{
    for (int attempt = 0; attempt < 500; ++attempt) {
        const resource_count now = count_resources();
        if (now.threads <= limit.threads && now.descriptors <= limit.descriptors) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

} // namespace test
