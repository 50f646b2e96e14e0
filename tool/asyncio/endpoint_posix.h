#pragma once

#include "tool/asyncio/completion_port.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace tpl {

/// A file descriptor, the port it is bound to, and the read under way on it. Reads are started like overlapped ones:
/// the bytes are written to the caller's memory, and the completion arrives at the port. Shared with workers that are
/// using it at the moment; the owner of the handle ends it with close_endpoint.
class endpoint : public std::enable_shared_from_this<endpoint>
{
public:
    explicit endpoint(int descriptor) noexcept
        : descriptor_(descriptor)
    {}
    endpoint(const endpoint&) = delete;
    endpoint& operator=(const endpoint&) = delete;

    /// Returns the descriptor, for the calls of the handle's owner; -1 after it was closed.
    [[nodiscard]] int descriptor() const noexcept { return descriptor_.load(); }

    /// Makes the descriptor non-blocking; the system is asked once only. Returns 0 or the Winsock code.
    [[nodiscard]] std::uint32_t make_non_blocking();

    /// Binds to a port. Returns false if bound already.
    [[nodiscard]] bool bind(std::shared_ptr<completion_port::impl> port, conduit* key);

    /// Starts the one read that may be under way. Returns 997, or the Winsock code of a read that could not be started.
    [[nodiscard]] std::uint32_t start_read(char* destination, std::uint32_t size, io_context* context);
    /// Completes the read under way with error 995.
    void cancel_read();
    /// Later reads fail with 10058. A read under way continues.
    void refuse_reads();
    void close();

    /// Called by the port when the descriptor is ready: finishes the read, or continues to wait. Returns true if `done`
    /// was filled.
    [[nodiscard]] bool finish_read(completion& done);

private:
    friend native_handle open_endpoint(int descriptor);
    friend void close_endpoint(native_handle handle);

    struct pending_read
    {
        char* destination = nullptr;
        std::uint32_t size = 0;
        io_context* context = nullptr;
    };

    [[nodiscard]] std::uint32_t arm();
    /// Takes the completion of a cancelled read, if there is one. Called with the lock held.
    [[nodiscard]] bool take_cancelled(completion& done);
    void deliver_cancelled(bool cancelled, const completion& done);

    std::mutex lock_;
    std::atomic<int> descriptor_;
    std::shared_ptr<completion_port::impl> port_;
    std::uint64_t id_ = 0; ///< the port's number for this endpoint
    conduit* key_ = nullptr;
    pending_read pending_;
    std::atomic<bool> non_blocking_{false};
    bool registered_ = false; ///< the descriptor is registered in the port's epoll instance
    bool reads_refused_ = false;
    std::shared_ptr<endpoint> self_; ///< the owner's share, from open_endpoint to close_endpoint
};

/// Takes ownership of a descriptor and returns a handle for it.
[[nodiscard]] native_handle open_endpoint(int descriptor);

/// Closes the descriptor, completes a read under way with error 995, and ends the handle.
void close_endpoint(native_handle handle);

/// Returns the Winsock code of a failed call on a socket.
[[nodiscard]] std::uint32_t winsock_code(int error) noexcept;

} // namespace tpl
