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

/// What a scripted peer does with one connection, step by step. When the steps are done it goes on reading until the
/// client closes, unless the last step closed the connection.
class conversation
{
public:
    /// Reads until this many more bytes have come.
    conversation& expect(std::size_t count) &;
    /// Reads until `marker` has come behind what earlier steps expected.
    conversation& expect_until(std::string marker) &;
    conversation& send(std::string bytes) &;
    /// The same, one byte at a time.
    conversation& send_bytewise(std::string bytes) &;
    /// Only reads until scripted_peer::release is called; one release lets one such step pass. Ends with the client.
    conversation& wait() &;
    /// Does not even read until `met`, which is asked again and again, gives true: until what was sent before has
    /// arrived as a piece of its own, or what was not read has filled the connection.
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
/// thread of its own; further connections are closed at once. Every wait is bounded. All operations may be called from
/// any thread.
class scripted_peer
{
public:
    explicit scripted_peer(std::vector<conversation> conversations);
    scripted_peer(const scripted_peer&) = delete;
    scripted_peer& operator=(const scripted_peer&) = delete;
    /// Closes all connections and joins all threads.
    ~scripted_peer();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Connections that were accepted so far, those without a conversation included.
    [[nodiscard]] std::size_t connections() const;
    /// What has come in on a connection, byte for byte.
    [[nodiscard]] std::string received(std::size_t index) const;
    /// The sizes of the pieces in which it came.
    [[nodiscard]] std::vector<std::size_t> pieces(std::size_t index) const;
    /// Waits until the connection has ended: true if the client closed it or the conversation did.
    bool wait_for_end(std::size_t index) const;
    /// Waits until that many bytes have come in.
    bool wait_for_bytes(std::size_t index, std::size_t count) const;
    /// Lets one wait() step of any connection pass.
    void release();
    /// Steps that were not fulfilled, in words; empty when all went as scripted.
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
    std::vector<std::unique_ptr<connection>> served_; ///< made at once, their threads as connections come
    std::size_t accepted_ = 0;
    std::size_t releases_ = 0;
    std::vector<std::string> complaints_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace test
