#include "service/allocator.h"

namespace service {

void reuse_memory()
{
    // The system's heap decides by itself.
}

} // namespace service
