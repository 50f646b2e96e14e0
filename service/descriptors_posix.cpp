#include "service/descriptors.h"

#include <limits>
#include <sys/resource.h>

namespace service {

std::size_t raise_descriptor_limit()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return std::numeric_limits<std::size_t>::max();
    }
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    return static_cast<std::size_t>(::setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before);
}

} // namespace service
