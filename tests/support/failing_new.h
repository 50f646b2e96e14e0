#pragma once

#include <cstddef>

namespace test {

enum class refusals
{
    one,       ///< the allocations behind the refused one succeed
    all_behind ///< all further allocations fail
};

/// While this object exists, the `nth` allocation by operator new, counted from 1, throws std::bad_alloc: of this thread,
/// or of all other threads. One object at a time on each thread, and one for the others. The library failing_new
/// replaces the operators of the whole program that links it.
class failing_new
{
public:
    enum class threads
    {
        own,
        others
    };

    explicit failing_new(std::size_t nth, refusals which = refusals::one, threads whose = threads::own) noexcept;
    failing_new(const failing_new&) = delete;
    failing_new& operator=(const failing_new&) = delete;
    ~failing_new();

    /// Returns true after an allocation has been refused.
    [[nodiscard]] bool failed() const noexcept;

private:
    threads whose_;
};

} // namespace test
