#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/web/memory_region.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace web {

// An anonymous mapping commits each page at the first access, so no page state has to be tracked.

std::uint64_t memory_region::page_size() noexcept
{
    return static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

memory_region::memory_region(std::uint64_t size)
    : size_(size)
    , present_(size)
{
    if (size == 0) {
        return;
    }
    void* const base =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base == MAP_FAILED) {
        throw error::win32exception(winapi::code_from_errno(errno), "tool\\web\\io_memory", __LINE__);
    }
    base_ = static_cast<std::byte*>(base);
}

memory_region::~memory_region()
{
    if (base_ != nullptr) {
        ::munmap(base_, size_);
    }
}

bool memory_region::copy_in(std::uint64_t offset, const void* source, std::uint64_t count) noexcept
{
    std::memmove(base_ + offset, source, count);
    return true;
}

bool memory_region::copy_out(std::uint64_t offset, void* destination, std::uint64_t count) noexcept
{
    std::memmove(destination, base_ + offset, count);
    return true;
}

void memory_region::make_present(std::uint64_t /*count*/) {}

} // namespace web
