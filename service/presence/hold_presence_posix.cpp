#include "service/presence/hold_presence.h"
#include "service/presence/lock_holder_posix.h"

namespace presence {

std::unique_ptr<holder> hold_presence()
{
    return std::make_unique<lock_holder>(own_lock_place());
}

} // namespace presence
