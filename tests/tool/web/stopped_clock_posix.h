#pragma once

namespace test {

/// The monotonic clock does not move for this thread while this object exists.
class stopped_clock
{
public:
    stopped_clock() noexcept;
    stopped_clock(const stopped_clock&) = delete;
    stopped_clock& operator=(const stopped_clock&) = delete;
    ~stopped_clock();
};

} // namespace test
