#include "tests/tool/memory/can_be_read.h"

#include <windows.h>

namespace test {

bool can_be_read(const void* address)
{
    MEMORY_BASIC_INFORMATION page{};
    return ::VirtualQuery(address, &page, sizeof(page)) != 0 && page.State == MEM_COMMIT &&
           (page.Protect & (PAGE_READONLY | PAGE_READWRITE)) != 0;
}

} // namespace test
