#pragma once

#include "tests/support/loopback_socket.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace test {

/// The script of one connection of a scripted peer, step by step. After the last step it continues to read until the
/// client closes, unless the last step closed the connection.
class conversation
{
public:
    /// Reads until this many further bytes have arrived.
    conversation& expect(std::size_t count) &;
    /// Reads until `marker` has arrived behind the bytes that earlier steps expected.
    conversation& expect_until(std::string marker) &;
    conversation& send(std::string bytes) &;
    /// As send(), one byte at a time.
    conversation& send_bytewise(std::string bytes) &;
    /// Only reads until scripted_peer::release is called; one release ends one such step. Also ends with the client.
    conversation& wait() &;
    /// Stops reading until `met`, which is called repeatedly, returns true: until the bytes sent before have arrived as
    /// a separate piece, or unread bytes have filled the connection.
    conversation& hold_until(std::function<bool()> met) &;
    conversation& close() &;
    conversation& reset() &;

    conversation&& expect(std::size_t count) && { return std::move(expect(count)); }
    conversation&& expect_until(std::string marker) && { return std::move(expect_until(std::move(marker))); }
    conversation&& send(std::string bytes) && { return std::move(send(std::move(bytes))); }
    conversation&& send_bytewise(std::string bytes) && { return std::move(send_bytewise(std::move(bytes))); }
    conversation&& wait() && { return std::move(wait()); }
    conversation&& hold_until(std::function<bool()> met) && { return std::move(hold_until(std::move(met))); }
    conversation&& close() && { return std::move(close()); }
    conversation&& reset() && { return std::move(reset()); }

private:
    friend class scripted_peer;
    enum class action
    {
        expect,
        expect_until,
        send,
        send_bytewise,
        wait,
        hold_until,
        close,
        reset
    };
    struct step
    {
        action what;
        std::size_t count = 0;
        std::string text;
        std::function<bool()> met;
    };
    std::vector<step> steps_;
};

/// A small TCP server on 127.0.0.1 and a free port. The n-th connection is served by the n-th conversation, each on a
/// separate thread; further connections are closed at once. Every wait is bounded. Thread-safe.
class scripted_peer
{
public:
    explicit scripted_peer(std::vector<conversation> conversations);
    scripted_peer(const scripted_peer&) = delete;
    scripted_peer& operator=(const scripted_peer&) = delete;
    /// Closes all connections and joins all threads.
    ~scripted_peer();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Returns the number of connections accepted so far, including those without a conversation.
    [[nodiscard]] std::size_t connections() const;
    /// Returns the bytes received on a connection.
    [[nodiscard]] std::string received(std::size_t index) const;
    /// Returns the sizes of the pieces in which they arrived.
    [[nodiscard]] std::vector<std::size_t> pieces(std::size_t index) const;
    /// Waits until the connection has ended. Returns true if the client or the conversation closed it.
    bool wait_for_end(std::size_t index) const;
    /// Waits until that many bytes have been received.
    bool wait_for_bytes(std::size_t index, std::size_t count) const;
    /// Ends one wait() step of any connection.
    void release();
    /// Returns the steps that were not fulfilled, as text; empty if all were.
    [[nodiscard]] std::vector<std::string> complaints() const;

private:
    struct connection
    {
        conversation script;
        loopback_socket socket;
        std::string received;
        std::vector<std::size_t> pieces;
        std::size_t taken = 0; ///< bytes of `received` that steps have expected
        bool ended = false;
        std::thread thread;
    };
    using step = conversation::step;

    void serve();
    void run(connection& served);
    bool perform(connection& served, const step& next);
    bool read_until_enough(connection& served, const step& next);
    bool read_some(connection& served);
    bool wait_for_release(connection& served);
    bool hold(const step& next);
    void complain(const std::string& text);

    loopback_socket listener_;
    std::uint16_t port_;
    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    std::vector<std::unique_ptr<connection>> served_; ///< made at once; their threads start as connections arrive
    std::size_t accepted_ = 0;
    std::size_t releases_ = 0;
    std::vector<std::string> complaints_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace test
