#include "tests/support/guarded_buffer.h"

#include <windows.h>

#include <cstring>
#include <new>

namespace test {

guarded_buffer::guarded_buffer(std::string_view bytes)
{
    SYSTEM_INFO info{};
    ::GetSystemInfo(&info);
    const std::size_t page = info.dwPageSize;
    const std::size_t used = (bytes.size() + page - 1) / page * page;
    region_size_ = used + page;
    region_ = ::VirtualAlloc(nullptr, region_size_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (region_ == nullptr) {
        throw std::bad_alloc();
    }
    char* const guard = static_cast<char*>(region_) + used;
    char* const start = guard - bytes.size();
    if (!bytes.empty()) {
        std::memcpy(start, bytes.data(), bytes.size());
    }
    DWORD before = 0;
    if (::VirtualProtect(guard, page, PAGE_NOACCESS, &before) == 0) {
        ::VirtualFree(region_, 0, MEM_RELEASE);
        throw std::bad_alloc();
    }
    begin_ = start;
    end_ = guard;
}

guarded_buffer::~guarded_buffer()
{
    ::VirtualFree(region_, 0, MEM_RELEASE);
}

} // namespace test
