#pragma once

#include <cstddef>
#include <ostream>

namespace test {

/// How many threads, and descriptors or handles, this process has.
struct process_resources
{
    std::size_t threads = 0;
    std::size_t handles = 0;

    /// A thread that has been joined is not counted, not even while the system still lists it.
    [[nodiscard]] static process_resources now();
    /// What there is once no more than `allowed` is left. Threads that nobody joins may still end, so this looks again
    /// for up to five seconds.
    [[nodiscard]] static process_resources settled(const process_resources& allowed);

    friend bool operator==(const process_resources&, const process_resources&) = default;
    friend std::ostream& operator<<(std::ostream& out, const process_resources& resources)
    {
        return out << resources.threads << " threads, " << resources.handles << " handles";
    }
};

} // namespace test
