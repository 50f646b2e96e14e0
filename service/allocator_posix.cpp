#include "service/allocator.h"

#include <malloc.h>

namespace service {

void reuse_memory()
{
    constexpr int largest_reused = 8 << 20;
    constexpr int most_kept = 32 << 20;
    ::mallopt(M_MMAP_THRESHOLD, largest_reused);
    ::mallopt(M_TRIM_THRESHOLD, most_kept);
}

} // namespace service
