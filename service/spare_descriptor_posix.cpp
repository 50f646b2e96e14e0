#include "service/spare_descriptor.h"

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace service {

void spare_descriptor::take()
{
    if (descriptor_ == none) {
        descriptor_ = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
}

void spare_descriptor::release()
{
    if (descriptor_ != none) {
        ::close(std::exchange(descriptor_, none));
    }
}

} // namespace service
