#pragma once

#include <memory>
#include <string>

namespace winapi {

/// Holds a named mutex that is created or opened; the constructor waits for it without a time-out, the destructor
/// gives it back. One thread may hold the same name several times over. A mutex whose owner ended without giving
/// it back counts as free. Where the platform has no named mutexes a name means the same mutex within this process.
class named_mutex_lock
{
public:
    /// Raises winapi::last_error if the mutex can be neither created nor opened nor waited for.
    explicit named_mutex_lock(const std::wstring& name);
    named_mutex_lock(const named_mutex_lock&) = delete;
    named_mutex_lock& operator=(const named_mutex_lock&) = delete;
    ~named_mutex_lock();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace winapi
