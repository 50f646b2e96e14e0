#pragma once

#include <platform/native_handle.h>

#include <cstdint>

namespace tpl {

/// One overlapped operation: the platform's record, and the values that the completion thread writes into it. While the
/// operation is under way the channel owns the context; conduit::complete returns it.
struct io_context : overlapped
{
    io_context() noexcept
        : overlapped{}
    {}
    io_context(const io_context&) = delete;
    io_context& operator=(const io_context&) = delete;
    virtual ~io_context() = default;

    std::uint32_t opcode = 0;      ///< kind of the operation; the conduit defines the numbers
    std::uint32_t transferred = 0; ///< bytes moved; completions add to it
    std::uint32_t error = 0;       ///< Win32 or Winsock code of a failed operation, 0 for none

    /// Prepares the context for the next operation.
    void reset() noexcept
    {
        static_cast<overlapped&>(*this) = overlapped{};
        transferred = 0;
        error = 0;
    }
};

} // namespace tpl
