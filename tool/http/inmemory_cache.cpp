#include "tool/http/inmemory_cache.h"

#include <cstring>
#include <functional>
#include <stdexcept>

namespace http {

namespace {

/// Uses std::less, which orders pointers of any origin.
bool within(const char* place, const char* begin, const char* end) noexcept
{
    const std::less<const char*> before;
    return !before(place, begin) && !before(end, place);
}

} // namespace

inmemory_cache::inmemory_cache()
    : block_(capacity)
    , end_(block_.data())
{}

std::size_t inmemory_cache::append(const char* first, const char* last)
{
    const auto count = static_cast<std::size_t>(last - first);
    if (count > capacity - size()) {
        throw std::out_of_range("inmemory_cache::append() failed: max size exceeded");
    }
    if (count != 0) {
        std::memcpy(end_, first, count);
        end_ += count;
    }
    return count;
}

void inmemory_cache::eraise(const char* first, const char* last)
{
    if (!within(first, begin(), end())) {
        throw std::out_of_range("inmemory_cache::eraise() failed: out of bound for first");
    }
    if (!within(last, first, end())) {
        throw std::out_of_range("inmemory_cache::eraise() failed: out of bound for last");
    }
    const auto behind = static_cast<std::size_t>(end() - last);
    char* place = block_.data() + (first - begin());
    if (first != last) {
        std::memmove(place, last, behind);
        end_ = place + behind;
    }
}

} // namespace http
