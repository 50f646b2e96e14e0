#pragma once

#include <cstddef>
#include <ostream>

namespace test {

/// The numbers of threads, and of descriptors or handles, of this process.
struct process_resources
{
    std::size_t threads = 0;
    std::size_t handles = 0;

    /// A thread that has been joined is not counted, not even while the system still lists it.
    [[nodiscard]] static process_resources now();
    /// Returns the resources as soon as no more than `allowed` are left. Threads that nobody joins may still be ending,
    /// so this repeats the query for up to five seconds.
    [[nodiscard]] static process_resources settled(const process_resources& allowed);

    friend bool operator==(const process_resources&, const process_resources&) = default;
    friend std::ostream& operator<<(std::ostream& out, const process_resources& resources)
    {
        return out << resources.threads << " threads, " << resources.handles << " handles";
    }
};

} // namespace test
