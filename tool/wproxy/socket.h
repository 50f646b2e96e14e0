#pragma once

#include "tool/asyncio/buffer.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/conduit.h"
#include "tool/asyncio/event.h"
#include "tool/asyncio/iasync.h"
#include "tool/wproxy/byte_filter.h"
#include "tool/wproxy/socket_address.h"
#include "tool/wproxy/socket_platform.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace web {

/// The context of an overlapped read: its bytes are written to `data`. `opcode` is read_context::read.
struct read_context : tpl::io_context
{
    static constexpr std::uint32_t read = 1;
    static constexpr std::uint32_t write = 2;
    static constexpr std::size_t buffer_size = 16384;

    read_context()
        : data(buffer_size)
    {
        opcode = read;
    }

    tpl::buffer data;
    tpl::event* event = nullptr; ///< set after each completed read was handled; may be null, not owned
};

/// A TCP socket that reads by overlapped operations completed on a channel, and writes on the caller's thread.
///
/// connect, write, shutdown and close must be called by the thread that owns the socket; completions arrive on the
/// channel's workers, one at a time. Every exception is an error::win32exception with a Winsock code. While a read is
/// outstanding the socket must exist: the owner closes it and destroys it after is_closed() has returned true, or after
/// the channel was stopped.
class socket : public tpl::conduit
{
public:
    /// Receives failures.
    class state
    {
    public:
        /// Called with a Winsock code, on a channel worker or on the thread of the failed operation.
        virtual void error(std::uint32_t code) = 0;

    protected:
        ~state() = default; // owned by the receiver, never through this interface
    };

    /// Takes ownership of the handle, even if it throws. Throws code 6 for an invalid handle. Does not throw for a
    /// handle that cannot be bound to the channel; is_attached() reports that.
    /// @param channel may be null; attach() may follow
    /// @param input receives the bytes read; may be null on a socket that never reads
    /// @param receiver receives failures; required on a socket that reads
    /// @param connected true for a handle that is connected already
    socket(tpl::native_handle handle, tpl::channel* channel, tpl::iasync* input, state* receiver, bool connected,
           socket_platform& platform = system_socket_platform());
    socket(const socket&) = delete;
    socket& operator=(const socket&) = delete;
    /// Closes the socket, and waits for a completion handler that is about to return.
    virtual ~socket();

    [[nodiscard]] tpl::native_handle handle() override { return handle_.load(); }
    void unused() override {}
    bool complete(std::unique_ptr<tpl::io_context> context) noexcept override;

    /// Connects; blocks for up to 120000 ms. Throws the code of the failure; 10107 if no answer came.
    void connect(const socket_address& address);

    /// Starts one overlapped read. A null context makes a new one; the context is reused for every later read. A read
    /// that cannot be started is reported to the state and throws.
    /// @param event set after each completed read of this context was handled; may be null
    void read(std::unique_ptr<read_context> context = nullptr, tpl::event* event = nullptr);

    /// Writes the range on this thread; blocks until all bytes are taken, without limit.
    /// @param error 0, 6 for a closed socket, or one of the codes that never throw: 10053, 10054, 10058
    /// @return the byte count of the last send
    std::uint32_t write(const char* begin, const char* end, std::uint32_t& error);

    enum : std::uint32_t
    {
        receive = 1,
        send = 2
    };
    /// @param how `receive`, `send` or both
    void shutdown(std::uint32_t how);

    void close();
    /// Gives the handle and the event back to the system, without a log line and without a shutdown, for a connection
    /// that has ended already. close() follows as usual. Any thread, but not at the same time as another operation of
    /// the owner.
    void let_go() noexcept;
    /// Returns true after the socket was closed if no read is outstanding. Polls the connection for a close by the
    /// peer.
    [[nodiscard]] bool is_closed();

    /// Returns the local address as text, "0.0.0.0" if there is none.
    [[nodiscard]] std::string local_address();

    /// Binds the handle to a channel; returns is_attached().
    bool attach(tpl::channel* channel);
    /// Installs a transformer between the wire and the input; null removes it. Must not be called while a read is
    /// outstanding.
    void set_filter(byte_filter* filter) noexcept { filter_ = filter; }
    [[nodiscard]] bool is_connected() const noexcept { return connected_.load(); }
    [[nodiscard]] bool is_attached() const noexcept { return attached_.load(); }
    [[nodiscard]] bool has_valid_handle() const noexcept { return handle_.load() != tpl::invalid_handle; }

private:
    void wait_for_connection(tpl::native_handle handle, std::int64_t started);
    [[noreturn]] void raise_connect_error(tpl::native_handle handle, std::uint32_t code, std::int64_t started);
    std::uint32_t write_block(const char* begin, const char* end, std::uint32_t& error);
    void wait_for_write(tpl::native_handle handle);
    void complete_read(std::unique_ptr<read_context> context);
    void closed_by_peer(std::unique_ptr<read_context> context);
    void failed_read(std::unique_ptr<read_context> context);
    void deliver(const read_context& context);
    void report(std::uint32_t code);
    /// Ends the reading after an exception in the completion handler.
    void detach(std::uint32_t code, const char* text, bool with_code) noexcept;
    void drop_handle() noexcept;
    void close_event() noexcept;

    socket_platform& platform_;
    std::atomic<tpl::native_handle> handle_;
    tpl::iasync* input_;
    state* state_;
    socket_event event_ = nullptr;
    std::atomic<bool> attached_{false};
    std::atomic<std::uint32_t> closed_{0};
    std::atomic<std::uint32_t> send_shut_{0};
    std::atomic<std::uint32_t> recv_shut_{0};
    byte_filter* filter_ = nullptr;
    tpl::channel* channel_ = nullptr;
    std::atomic<bool> connected_;
    std::mutex handle_lock_;     ///< protects a worker's use of the handle against close()
    std::mutex completion_lock_; ///< held by the completion handler; the destructor waits for it
};

} // namespace web
