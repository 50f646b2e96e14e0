#include "service/kept_memory.h"

#include "service/allocator.h"
#include "tool/web/body_store.h"

#include <algorithm>

namespace service {

void keep_in_memory(std::uint64_t memory_body)
{
    constexpr std::uint64_t unit = web::body_store_config::memory_unit;
    web::body_store_configuration().memory_units = static_cast<std::uint32_t>((memory_body + unit - 1) / unit);
    reuse_memory();
}

} // namespace service
