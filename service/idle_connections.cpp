#include "service/idle_connections.h"

#include <utility>

namespace service {

idle_connections::place idle_connections::enter(std::weak_ptr<connection> idle)
{
    const std::lock_guard guard(lock_);
    idle_.emplace(++last_, std::move(idle));
    return last_;
}

void idle_connections::leave(place left)
{
    const std::lock_guard guard(lock_);
    idle_.erase(left);
}

std::shared_ptr<connection> idle_connections::take_longest()
{
    const std::lock_guard guard(lock_);
    while (!idle_.empty()) {
        const auto first = idle_.begin();
        auto found = first->second.lock();
        idle_.erase(first);
        if (found) {
            return found;
        }
    }
    return nullptr;
}

} // namespace service
