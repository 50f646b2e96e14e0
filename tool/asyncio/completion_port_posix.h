#pragma once

#include "tool/asyncio/completion_port.h"

#include <platform/handles.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <sys/types.h>
#include <unordered_map>
#include <vector>

namespace tpl {

/// A completion port on epoll. One of the waiting workers leads: it waits for readiness and turns it into a completion.
/// At most as many handlers run at a time as the concurrency specifies; a blocked one does not count, so that another
/// worker may run meanwhile.
class completion_port::impl
{
public:
    explicit impl(std::uint32_t concurrency);
    impl(const impl&) = delete;
    impl& operator=(const impl&) = delete;
    ~impl();

    /// Queues a completion.
    void post(const completion& done);
    [[nodiscard]] completion wait();

    /// Registers an endpoint and returns its number.
    [[nodiscard]] std::uint64_t add(std::weak_ptr<endpoint> target);
    void remove(std::uint64_t id);
    /// Waits for one readiness to read. Returns 0 or the errno.
    [[nodiscard]] int watch(int descriptor, std::uint64_t id, bool known) const noexcept;

private:
    using time_point = std::chrono::steady_clock::time_point;

    struct handler
    {
        pid_t thread;
        time_point since;
        bool blocked; ///< found asleep, so it does not count
    };

    [[nodiscard]] bool slot_free() const noexcept;
    void retire_caller();
    [[nodiscard]] completion take(std::unique_lock<std::mutex>& lock);
    void lead(std::unique_lock<std::mutex>& lock);
    /// Waits for a period, then checks whether the handlers that run are blocked. The worker that watches goes on while
    /// handlers start, so that not every completion has to wake one.
    void watch_handlers(std::unique_lock<std::mutex>& lock);
    void find_blocked();
    void wake_leader() const noexcept;
    void drain_wake_ups() const noexcept;

    const std::uint32_t concurrency_;
    const winapi::file_handle epoll_;
    const winapi::file_handle wake_up_; ///< eventfd that ends the leader's wait
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<completion> queue_;
    std::vector<handler> running_;
    std::unordered_map<std::uint64_t, std::weak_ptr<endpoint>> endpoints_;
    std::uint64_t last_id_ = 0; ///< of an endpoint; 0 itself identifies wake_up_
    bool leading_ = false;      ///< a worker waits for readiness
    bool watching_ = false;     ///< a worker checks for blocked handlers
    bool taken_ = false;        ///< a handler has started in the period of that worker
};

} // namespace tpl
