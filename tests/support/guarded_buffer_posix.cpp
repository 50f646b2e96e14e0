#include "tests/support/guarded_buffer.h"

#include <cstring>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace test {

guarded_buffer::guarded_buffer(std::string_view bytes)
{
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t used = (bytes.size() + page - 1) / page * page;
    region_size_ = used + page;
    region_ = ::mmap(nullptr, region_size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (region_ == MAP_FAILED) {
        throw std::bad_alloc();
    }
    char* const guard = static_cast<char*>(region_) + used;
    char* const start = guard - bytes.size();
    if (!bytes.empty()) {
        std::memcpy(start, bytes.data(), bytes.size());
    }
    if (::mprotect(guard, page, PROT_NONE) != 0) {
        ::munmap(region_, region_size_);
        throw std::bad_alloc();
    }
    begin_ = start;
    end_ = guard;
}

guarded_buffer::~guarded_buffer()
{
    ::munmap(region_, region_size_);
}

} // namespace test
