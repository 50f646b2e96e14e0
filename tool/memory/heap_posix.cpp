#include "tool/memory/heap.h"
#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace memory {

// The C library's allocator separates arenas by itself, so there is nothing to store here.
struct heap::native
{};

heap::heap() = default;

heap::~heap() = default;

void* heap::allocate(std::size_t count)
{
    void* const bytes = std::malloc(std::max<std::size_t>(count, 1));
    if (bytes == nullptr) {
        throw error::win32exception(winapi::code_from_errno(errno), "tool\\memory\\heap", __LINE__);
    }
    return bytes;
}

void heap::release(void* bytes) noexcept
{
    std::free(bytes);
}

} // namespace memory
