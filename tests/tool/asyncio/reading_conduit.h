#pragma once

#include "tests/support/loopback_socket.h"
#include "tool/asyncio/conduit.h"
#include "tool/asyncio/event.h"

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace test {

/// A read context that counts the existing objects of its kind.
struct tracked_context : tpl::io_context
{
    tracked_context();
    ~tracked_context() override;
    static int alive();

    std::array<char, 256> bytes{};
};

/// One completion as a handler saw it.
struct seen_completion
{
    std::string bytes;
    std::uint32_t transferred = 0;
    std::uint32_t error = 0;
    std::thread::id thread;
};

/// A connected loopback socket as a conduit. `handler` runs in each completion.
class reading_conduit final : public tpl::conduit
{
public:
    explicit reading_conduit(std::function<void()> handler = {});
    reading_conduit(const reading_conduit&) = delete;
    reading_conduit& operator=(const reading_conduit&) = delete;
    ~reading_conduit();

    [[nodiscard]] tpl::native_handle handle() override { return handle_; }
    void unused() override {}
    bool complete(std::unique_ptr<tpl::io_context> context) noexcept override;

    /// Starts a read with a context that has counted `transferred` bytes already and has `high` as its InternalHigh.
    /// Returns 0, or the code of the failure.
    [[nodiscard]] std::uint32_t start_read(std::uint32_t transferred = 0, std::uint32_t high = 0);
    void close();
    /// Returns the other end.
    [[nodiscard]] loopback_socket& peer() noexcept { return peer_; }
    /// Returns the next completion, after its handler has run; fails the test after a minute.
    [[nodiscard]] seen_completion next();
    [[nodiscard]] std::size_t completions() const;

private:
    std::function<void()> handler_;
    tpl::native_handle handle_;
    loopback_socket peer_;
    mutable std::mutex lock_;
    std::deque<seen_completion> seen_;
    std::size_t count_ = 0;
    tpl::event arrived_;
};

} // namespace test
