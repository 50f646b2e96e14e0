#include "service/program/manager_notice.h"

#include <utility>

namespace service {

// No manager of this system takes such reports.
manager_notice::manager_notice() = default;

manager_notice::manager_notice(std::string address)
    : address_(std::move(address))
{}

void manager_notice::ready(const std::string& status) const
{
    send(status);
}

void manager_notice::reloading() const
{
    send({});
}

void manager_notice::stopping() const
{
    send({});
}

void manager_notice::send(const std::string& /*lines*/) const {}

} // namespace service
