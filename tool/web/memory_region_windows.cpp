#include "tool/system/errors.h"
#include "tool/web/memory_region.h"
#include "tool/web/page_fault_copy.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace web {

namespace {

constexpr const char* source_path = "tool\\web\\io_memory";

} // namespace

std::uint64_t memory_region::page_size() noexcept
{
    SYSTEM_INFO info{};
    ::GetSystemInfo(&info);
    return info.dwPageSize;
}

memory_region::memory_region(std::uint64_t size)
{
    if (size == 0) {
        return;
    }
    page_fault_copy::prepare();
    void* const base = ::VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
    if (base == nullptr) {
        throw error::win32exception(::GetLastError(), source_path, __LINE__);
    }
    const std::uint64_t page = page_size();
    if (::VirtualAlloc(base, page, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        const DWORD code = ::GetLastError();
        ::VirtualFree(base, 0, MEM_RELEASE);
        throw error::win32exception(code, source_path, __LINE__);
    }
    base_ = static_cast<std::byte*>(base);
    size_ = size;
    present_ = page;
}

memory_region::~memory_region()
{
    if (base_ != nullptr) {
        ::VirtualFree(base_, 0, MEM_RELEASE);
    }
}

bool memory_region::copy_in(std::uint64_t offset, const void* source, std::uint64_t count) noexcept
{
    if (offset + count <= present_) {
        std::memmove(base_ + offset, source, count);
        return true;
    }
    const page_fault_copy::range pages{base_, size_};
    if (!page_fault_copy::run(pages, base_ + offset, source, count)) {
        return false;
    }
    if (offset <= present_) {
        present_ = std::max(present_, offset + count);
    }
    return true;
}

bool memory_region::copy_out(std::uint64_t offset, void* destination, std::uint64_t count) noexcept
{
    if (offset + count <= present_) {
        std::memmove(destination, base_ + offset, count);
        return true;
    }
    const page_fault_copy::range pages{base_, size_};
    return page_fault_copy::run(pages, destination, base_ + offset, count);
}

void memory_region::make_present(std::uint64_t count)
{
    if (count <= present_) {
        return;
    }
    if (::VirtualAlloc(base_, count, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        throw error::win32exception(::GetLastError(), source_path, __LINE__);
    }
    present_ = count;
}

} // namespace web
