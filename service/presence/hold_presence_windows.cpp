#include "service/presence/hold_presence.h"
#include "service/presence/namespace_holder.h"

namespace presence {

std::unique_ptr<holder> hold_presence()
{
    return std::make_unique<namespace_holder>(system_namespace_functions());
}

} // namespace presence
