#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/web/memory_region.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace web {

// The pages of an anonymous mapping are committed at the first access, so that all of it is present. A short region
// comes from the allocator, which reuses memory: a mapping costs more than the bytes of a short body. What it contained
// before is overwritten with zeros only where no byte is written first.

namespace {

constexpr std::uint64_t largest_allocated = std::uint64_t{8} << 20U;

void* map(std::uint64_t size)
{
    void* const base =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return base == MAP_FAILED ? nullptr : base;
}

} // namespace

std::uint64_t memory_region::page_size() noexcept
{
    return static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

memory_region::memory_region(std::uint64_t size)
    : size_(size)
    , present_(size <= largest_allocated ? 0 : size)
{
    if (size == 0) {
        return;
    }
    base_ = static_cast<std::byte*>(size <= largest_allocated ? std::malloc(size) : map(size));
    if (base_ == nullptr) {
        throw error::win32exception(winapi::code_from_errno(errno), "tool\\web\\io_memory", __LINE__);
    }
}

memory_region::~memory_region()
{
    if (size_ <= largest_allocated) {
        std::free(base_);
    } else {
        ::munmap(base_, size_);
    }
}

bool memory_region::copy_in(std::uint64_t offset, const void* source, std::uint64_t count) noexcept
{
    make_present(offset);
    std::memmove(base_ + offset, source, count);
    present_ = std::max(present_, offset + count);
    return true;
}

bool memory_region::copy_out(std::uint64_t offset, void* destination, std::uint64_t count) noexcept
{
    make_present(offset + count);
    std::memmove(destination, base_ + offset, count);
    return true;
}

/// Throws nothing.
void memory_region::make_present(std::uint64_t count)
{
    if (present_ < count) {
        std::memset(base_ + present_, 0, count - present_);
        present_ = count;
    }
}

} // namespace web
