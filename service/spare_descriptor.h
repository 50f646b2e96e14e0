#pragma once

namespace service {

/// A descriptor that is kept for the moment in which the system gives no other. On a system whose sockets and files are
/// limited by memory only there is none.
class spare_descriptor
{
public:
    spare_descriptor() = default;
    spare_descriptor(const spare_descriptor&) = delete;
    spare_descriptor& operator=(const spare_descriptor&) = delete;
    ~spare_descriptor() { release(); }

    /// Takes the descriptor, unless it is held. Does nothing if the system gives none.
    void take();
    /// Returns the descriptor to the system.
    void release();

private:
    static constexpr int none = -1;
    int descriptor_ = none;
};

} // namespace service
