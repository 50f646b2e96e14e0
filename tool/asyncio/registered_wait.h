#pragma once

#include "tool/asyncio/event.h"

#include <functional>
#include <memory>

namespace tpl {

/// A wait without time-out on an auto-reset event, registered with the system: `callback` runs on a thread of the
/// platform each time the event is signalled, one call at a time. It may run long and must not throw.
class registered_wait
{
public:
    /// `signal` must outlive the registration. Throws error::win32exception or std::system_error on failure.
    registered_wait(event& signal, std::function<void()> callback);
    registered_wait(const registered_wait&) = delete;
    registered_wait& operator=(const registered_wait&) = delete;
    /// Calls unregister(). Destroying a registration from within its callback ends the process with the text below.
    ~registered_wait();

    /// Announces unregister(), which must follow: a thread that waits only for the event may end from now on. So many
    /// registrations end together and not one after the other.
    void end() noexcept;
    /// Ends the registration and waits until a running callback has returned; no callback runs afterwards. A second
    /// call does nothing. Throws std::runtime_error "error: wait on self-thread is potential deadlock" from within the
    /// callback.
    void unregister();

private:
    class impl;
    std::unique_ptr<impl> impl_;
};

} // namespace tpl
