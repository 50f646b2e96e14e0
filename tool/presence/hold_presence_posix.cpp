#include "tool/presence/hold_presence.h"
#include "tool/presence/lock_file_posix.h"

namespace presence {

std::unique_ptr<holder> hold_presence()
{
    return std::make_unique<lock_holder>(own_lock_place());
}

} // namespace presence
