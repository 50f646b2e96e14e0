#include "tool/system/registry.h"

namespace winapi::detail {

const registry& platform_registry()
{
    return stand_in_registry();
}

} // namespace winapi::detail
