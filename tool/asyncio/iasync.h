#pragma once

namespace tpl {

/// Receives the bytes of completed reads.
class iasync
{
public:
    /// Called on a channel worker with the received range, which is valid during the call only. The implementation
    /// copies it and returns at once, because the next read starts afterwards. An exception ends the reading and
    /// detaches the sender.
    /// @return true if the bytes were taken; senders ignore it
    virtual bool input(const char* begin, const char* end) = 0;

protected:
    ~iasync() = default; // owned by the receiver, never through this interface
};

} // namespace tpl
