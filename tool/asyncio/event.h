#pragma once

#include <cstdint>
#include <memory>

namespace tpl {

/// Results of a wait, with the values of the platform's waits.
enum class wait_result : std::uint32_t
{
    signalled = 0,
    timeout = 258,
    failed = 0xFFFFFFFF,
};

/// An unnamed auto-reset event, initially not signalled: one set() releases one wait. Thread-safe.
class event
{
public:
    /// Throws error::win32exception if the system has no event left.
    event();
    event(const event&) = delete;
    event& operator=(const event&) = delete;
    ~event();

    void set() noexcept;
    /// Waits up to `milliseconds` (tpl::infinite: without limit) and resets the signal.
    [[nodiscard]] wait_result wait(std::uint32_t milliseconds) noexcept;

    class impl;

private:
    friend class registered_wait;
    std::shared_ptr<impl> impl_;
};

} // namespace tpl
