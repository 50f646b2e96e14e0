#pragma once

#include "tool/asyncio/io_context.h"

#include <memory>

namespace tpl {

/// An object whose overlapped operations complete on a channel. Must exist as long as an operation is under way.
class conduit
{
public:
    /// Returns the handle that the operations run on.
    [[nodiscard]] virtual native_handle handle() = 0;
    /// Reserved; does nothing.
    virtual void unused() = 0;
    /// Receives a finished operation, on a channel worker. Must not throw: the worker does not catch exceptions.
    virtual bool complete(std::unique_ptr<io_context> context) noexcept = 0;

protected:
    conduit() = default;
    conduit(const conduit&) = default;
    conduit& operator=(const conduit&) = default;
    ~conduit() = default; // a channel never owns a conduit
};

} // namespace tpl
