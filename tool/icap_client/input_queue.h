#pragma once

#include "tool/asyncio/buffer.h"
#include "tool/asyncio/event.h"
#include "tool/asyncio/registered_wait.h"

#include <condition_variable>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>

namespace icap {

/// A copy of received bytes on the process's private heap. Throws error::win32exception if an allocation fails.
class buffer
{
public:
    buffer(const char* begin, const char* end);

    [[nodiscard]] const char* begin() const noexcept { return bytes_.begin(); }
    [[nodiscard]] const char* end() const noexcept { return bytes_.end(); }
    [[nodiscard]] std::size_t size() const noexcept { return bytes_.size(); }

private:
    tpl::buffer bytes_;
};

namespace client {

/// Takes buffers from any thread and passes them, in the order in which they came and one at a time, to a handler on a
/// thread of the system's pool. What waits is limited: a sender that is faster than the handler waits for it, so that
/// the connection slows its peer down.
class input_queue
{
public:
    using handler = void (*)(void* context, const icap::buffer& bytes);
    static constexpr std::size_t default_capacity = std::size_t{1} << 20; ///< bytes

    /// `handle` is called with `context` and must not throw. `capacity` is the number of bytes that may wait, or one
    /// buffer of any size. Throws what the registration of the wait throws.
    input_queue(handler handle, void* context, std::size_t capacity = default_capacity);
    input_queue(const input_queue&) = delete;
    input_queue& operator=(const input_queue&) = delete;
    /// Calls stop() and drops the buffers that are left.
    ~input_queue();

    /// Waits until there is room, unless stop() has been called. The handler must not call this function.
    void push(std::shared_ptr<icap::buffer> bytes);
    /// Announces stop(), which must follow, and returns at once: buffers are no longer handled.
    void begin_stop() noexcept;
    /// Waits until a running handler has returned; no handler runs afterwards. The handler must not call this function.
    void stop();
    /// True once begin_stop() or stop() was called: no further buffer is handled, though a handler may still run. Any
    /// thread may ask.
    [[nodiscard]] bool is_stopping() const;
    [[nodiscard]] std::size_t size() const;

private:
    void drain() noexcept;
    [[nodiscard]] std::shared_ptr<icap::buffer> pop();

    mutable std::mutex lock_;
    std::condition_variable room_;                     ///< notified when a buffer has left, and by stop()
    std::list<std::shared_ptr<icap::buffer>> buffers_; ///< under lock_
    std::size_t waiting_ = 0;                          ///< bytes in buffers_; under lock_
    std::size_t capacity_;
    handler handle_;
    void* context_;
    tpl::event wake_;
    bool running_ = false; ///< a pool thread drains the queue or is about to; under lock_
    bool stop_ = false;    ///< under lock_
    std::unique_ptr<tpl::registered_wait> wait_;
};

} // namespace client
} // namespace icap
