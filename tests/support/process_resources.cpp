#include "tests/support/process_resources.h"

#include <chrono>
#include <thread>

namespace test {

process_resources process_resources::settled(const process_resources& allowed)
{
    auto found = now();
    for (int look = 0; look < 500 && (found.threads > allowed.threads || found.handles > allowed.handles); ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        found = now();
    }
    return found;
}

} // namespace test
