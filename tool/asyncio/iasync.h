#pragma once

namespace tpl {

/// Takes the bytes that a read has brought.
class iasync
{
public:
    /// Called on a channel worker with the received range, which is good only during the call: copy and return at
    /// once, since the next read starts afterwards. An exception ends the reading and detaches the sender.
    /// @return true if the bytes were taken; senders do not look at it
    virtual bool input(const char* begin, const char* end) = 0;

protected:
    ~iasync() = default; // owned by the receiver, never through this interface
};

} // namespace tpl
