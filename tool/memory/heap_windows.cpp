#include "tool/memory/heap.h"
#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"

#include <windows.h>

namespace memory {

namespace {

constexpr const char* source_path = "tool\\memory\\heap";

} // namespace

struct heap::native
{
    HANDLE handle = ::HeapCreate(0, 0, 0);

    native()
    {
        if (handle == nullptr) {
            throw error::win32exception(::GetLastError(), source_path, __LINE__);
        }
    }
    native(const native&) = delete;
    native& operator=(const native&) = delete;
    ~native() { ::HeapDestroy(handle); }
};

heap::heap()
    : native_(std::make_unique<native>())
{}

heap::~heap() = default;

void* heap::allocate(std::size_t count)
{
    // A failed HeapAlloc need not set the last error; the code set here is reported then.
    const DWORD before = ::GetLastError();
    ::SetLastError(winapi::code::not_enough_memory);
    void* const bytes = ::HeapAlloc(native_->handle, 0, count);
    if (bytes == nullptr) {
        throw error::win32exception(::GetLastError(), source_path, __LINE__);
    }
    ::SetLastError(before);
    return bytes;
}

void heap::release(void* bytes) noexcept
{
    if (bytes != nullptr) {
        ::HeapFree(native_->handle, 0, bytes);
    }
}

} // namespace memory
