#include "tests/support/process_memory.h"

#include <windows.h>

#include <array>

namespace test {

std::size_t heap_bytes()
{
    std::array<HANDLE, 1024> heaps{};
    const DWORD count = ::GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    std::size_t sum = 0;
    for (DWORD index = 0; index < count && index < heaps.size(); ++index) {
        PROCESS_HEAP_ENTRY entry{};
        ::HeapLock(heaps[index]);
        while (::HeapWalk(heaps[index], &entry) != FALSE) {
            sum += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
        }
        ::HeapUnlock(heaps[index]);
    }
    return sum;
}

std::size_t private_bytes()
{
    std::size_t sum = 0;
    MEMORY_BASIC_INFORMATION range{};
    for (const auto* at = static_cast<const char*>(nullptr); ::VirtualQuery(at, &range, sizeof range) == sizeof range;
         at = static_cast<const char*>(range.BaseAddress) + range.RegionSize) {
        sum += range.State == MEM_COMMIT && range.Type == MEM_PRIVATE ? range.RegionSize : 0;
    }
    return sum;
}

} // namespace test
