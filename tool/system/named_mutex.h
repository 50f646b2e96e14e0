#pragma once

#include <memory>
#include <string>

namespace winapi {

/// Holds a named mutex that is created or opened. The constructor waits for it without a time-out; the destructor
/// releases it. One thread may hold the same name several times. A mutex whose owner ended without releasing it counts
/// as free. On platforms without named mutexes, a name identifies a mutex within this process.
class named_mutex_lock
{
public:
    /// Throws winapi::last_error if the mutex can be neither created nor opened, or if the wait fails.
    explicit named_mutex_lock(const std::wstring& name);
    named_mutex_lock(const named_mutex_lock&) = delete;
    named_mutex_lock& operator=(const named_mutex_lock&) = delete;
    ~named_mutex_lock();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace winapi
