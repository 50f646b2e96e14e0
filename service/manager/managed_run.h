#pragma once

#include "events/sink.h"
#include "service/manager/control_queue.h"
#include "service/manager/service_events.h"
#include "service/manager/status_board.h"

#include <functional>
#include <memory>
#include <string>

namespace manager {

/// A service that the manager has started.
struct managed_service
{
    status_board& status;
    control_queue& controls;
    std::shared_ptr<service_events> events;
};

/// Serves until the manager asks for the end. Returns the exit status; has reported a failure as an event. Must not
/// throw.
using service_body = std::function<int(const managed_service& service)>;

/// Returns false if this program runs on the desktop of a user, which a service never does. Programs elsewhere are
/// services, planned tasks and sessions of a remote shell.
[[nodiscard]] bool may_be_service();

/// Lets the service's manager run `body` on a thread of this process, with the name of the service as the event source.
/// Returns when the service has ended; returns false at once if the manager did not start this program. Must be called
/// once only.
[[nodiscard]] bool run_for_manager(const service_body& body);

} // namespace manager
