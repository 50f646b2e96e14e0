#pragma once

#include "tool/asyncio/buffer.h"
#include "tool/asyncio/event.h"
#include "tool/asyncio/registered_wait.h"

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>

namespace icap {

/// A copy of received bytes in the process's private heap. A failed allocation raises error::win32exception.
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

/// Takes buffers from any thread and gives them in that order, one at a time, to a handler on a thread of the
/// system's pool.
class input_queue
{
public:
    using handler = void (*)(void* context, const icap::buffer& bytes);

    /// `handle` gets `context` and must not throw. Raises what the registration of the wait raises.
    input_queue(handler handle, void* context);
    input_queue(const input_queue&) = delete;
    input_queue& operator=(const input_queue&) = delete;
    /// Runs stop() and drops what is left.
    ~input_queue();

    void push(std::shared_ptr<icap::buffer> bytes);
    /// Waits until a running handler has returned; afterwards none runs. Not to be called by the handler.
    void stop();
    /// True once stop() was called: no further buffer is handled, though a handler may still run. Any thread may ask.
    [[nodiscard]] bool is_stopping() const;
    [[nodiscard]] std::size_t size() const;

private:
    void drain() noexcept;
    [[nodiscard]] std::shared_ptr<icap::buffer> pop();

    mutable std::mutex lock_;
    std::list<std::shared_ptr<icap::buffer>> buffers_; ///< under lock_
    handler handle_;
    void* context_;
    tpl::event wake_;
    bool running_ = false; ///< a pool thread drains or was told to; under lock_
    bool stop_ = false;    ///< under lock_
    std::unique_ptr<tpl::registered_wait> wait_;
};

} // namespace client
} // namespace icap
