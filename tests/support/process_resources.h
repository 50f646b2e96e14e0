#pragma once

#include <cstddef>
#include <ostream>

namespace test {

/// How many threads, and descriptors or handles, this process has.
struct process_resources
{
    std::size_t threads = 0;
    std::size_t handles = 0;

    [[nodiscard]] static process_resources now();
    /// What there is once no more than `allowed` is left; a thread that has been joined may still be on its way out,
    /// so this looks again for up to five seconds.
    [[nodiscard]] static process_resources settled(const process_resources& allowed);

    friend bool operator==(const process_resources&, const process_resources&) = default;
    friend std::ostream& operator<<(std::ostream& out, const process_resources& resources)
    {
        return out << resources.threads << " threads, " << resources.handles << " handles";
    }
};

} // namespace test
