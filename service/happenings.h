#pragma once

namespace service {

/// Learns what happens to a server that its administrator should know at once. Called by any thread, which must not
/// wait.
class happenings
{
public:
    /// No alternative of one of the engines can be reached, so that nothing can be judged; and the end of this state.
    virtual void engine_unreachable() noexcept = 0;
    virtual void engine_reachable() noexcept = 0;
    /// Some of the engines cannot be reached while others judge in their place; and the end of this state.
    virtual void engine_part_unreachable() noexcept = 0;
    virtual void all_engine_parts_reachable() noexcept = 0;
    /// A connection was refused because there are too many. Called for the first one, and for the first one after a
    /// minute without any.
    virtual void full() noexcept = 0;
    virtual ~happenings() = default;
};

} // namespace service
