#include "tests/tool/memory/can_be_read.h"

#include <array>
#include <unistd.h>

namespace test {

bool can_be_read(const void* address)
{
    // The kernel refuses to copy from an address that this process cannot read.
    std::array<int, 2> pipe_ends{};
    if (::pipe(pipe_ends.data()) != 0) {
        return false;
    }
    const bool readable = ::write(pipe_ends[1], address, 1) == 1;
    ::close(pipe_ends[0]);
    ::close(pipe_ends[1]);
    return readable;
}

} // namespace test
