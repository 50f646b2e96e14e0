#include "service/waiting_connections.h"

#include <utility>

namespace service {

waiting_connections::place waiting_connections::enter(std::weak_ptr<connection> waiting)
{
    const std::lock_guard guard(lock_);
    waiting_.emplace(++last_, std::move(waiting));
    return last_;
}

void waiting_connections::leave(place left)
{
    const std::lock_guard guard(lock_);
    waiting_.erase(left);
}

std::shared_ptr<connection> waiting_connections::take_longest()
{
    const std::lock_guard guard(lock_);
    while (!waiting_.empty()) {
        const auto first = waiting_.begin();
        auto found = first->second.lock();
        waiting_.erase(first);
        if (found) {
            return found;
        }
    }
    return nullptr;
}

} // namespace service
