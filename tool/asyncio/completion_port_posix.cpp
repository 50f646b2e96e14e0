#include "tool/asyncio/completion_port_posix.h"

#include "tool/asyncio/endpoint_posix.h"
#include "tool/system/errors.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace tpl {

namespace {

/// Identifies the event that ends the leader's wait; endpoints have higher numbers.
constexpr std::uint64_t wake_up_id = 0;

/// A handler that has run this long is checked: if its thread sleeps, it is blocked.
constexpr std::chrono::milliseconds look_after{10};

int checked(int result, int line)
{
    if (result < 0) {
        throw error::win32exception(winsock_code(errno), "tool\\asyncio\\completion_port", line);
    }
    return result;
}

pid_t this_thread() noexcept
{
    static thread_local const pid_t number = ::gettid();
    return number;
}

/// Returns whether a thread of this process is asleep, as the kernel reports it.
bool is_asleep(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto name_end = text.rfind(')'); // the name ahead of it may contain anything
    if (name_end == std::string::npos || name_end + 2 >= text.size()) {
        return false;
    }
    return text[name_end + 2] != 'R';
}

} // namespace

completion_port::impl::impl(std::uint32_t concurrency)
    : concurrency_(concurrency != 0 ? concurrency : std::max(1U, std::thread::hardware_concurrency()))
    , epoll_(checked(::epoll_create1(EPOLL_CLOEXEC), __LINE__))
    , wake_up_(checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), __LINE__))
{
    epoll_event interest{};
    interest.events = EPOLLIN;
    interest.data.u64 = wake_up_id;
    checked(::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wake_up_.get(), &interest), __LINE__);
}

completion_port::impl::~impl()
{
    for (const auto& left : queue_) {
        const std::unique_ptr<io_context> context(left.context);
    }
}

void completion_port::impl::post(const completion& done)
{
    {
        const std::lock_guard guard(lock_);
        queue_.push_back(done);
        if (leading_) {
            wake_leader();
        }
    }
    changed_.notify_one();
}

std::uint64_t completion_port::impl::add(std::weak_ptr<endpoint> target)
{
    const std::lock_guard guard(lock_);
    endpoints_.emplace(++last_id_, std::move(target));
    return last_id_;
}

void completion_port::impl::remove(std::uint64_t id)
{
    const std::lock_guard guard(lock_);
    endpoints_.erase(id);
}

int completion_port::impl::watch(int descriptor, std::uint64_t id, bool known) const noexcept
{
    epoll_event interest{};
    interest.events = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;
    interest.data.u64 = id;
    return ::epoll_ctl(epoll_.get(), known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, descriptor, &interest) == 0 ? 0 : errno;
}

completion completion_port::impl::wait()
{
    std::unique_lock lock(lock_);
    retire_caller();
    for (;;) {
        const bool free = slot_free();
        if (free && !queue_.empty()) {
            return take(lock);
        }
        if (free && !leading_) {
            lead(lock);
        } else if (!watching_ && (taken_ || !free)) {
            watch_handlers(lock);
        } else {
            changed_.wait(lock);
        }
    }
}

bool completion_port::impl::slot_free() const noexcept
{
    const auto busy = std::count_if(running_.begin(), running_.end(), [](const handler& one) { return !one.blocked; });
    return static_cast<std::uint32_t>(busy) < concurrency_;
}

void completion_port::impl::retire_caller()
{
    const auto self = this_thread();
    std::erase_if(running_, [self](const handler& one) { return one.thread == self; });
}

completion completion_port::impl::take(std::unique_lock<std::mutex>& lock)
{
    const auto taken = queue_.front();
    queue_.pop_front();
    const bool stop = taken.key == nullptr && taken.context == nullptr;
    if (!stop) { // a worker that stops never returns its slot
        running_.push_back({this_thread(), std::chrono::steady_clock::now(), false});
        taken_ = true;
    }
    // Some worker must lead, take the remaining completions, or check whether this handler blocks.
    const bool needs_another = stop || slot_free() || !watching_;
    lock.unlock();
    if (needs_another) {
        changed_.notify_one();
    }
    return taken;
}

void completion_port::impl::lead(std::unique_lock<std::mutex>& lock)
{
    leading_ = true;
    lock.unlock();
    epoll_event ready{};
    const int count = ::epoll_wait(epoll_.get(), &ready, 1, -1);
    const std::uint64_t id = ready.data.u64; // no reference can be bound to a field of this packed structure
    completion done;
    bool finished = false;
    if (count == 1 && id == wake_up_id) {
        drain_wake_ups();
    } else if (count == 1) {
        std::shared_ptr<endpoint> target;
        {
            const std::lock_guard guard(lock_);
            if (const auto known = endpoints_.find(id); known != endpoints_.end()) {
                target = known->second.lock();
            }
        }
        finished = target != nullptr && target->finish_read(done);
    }
    lock.lock();
    leading_ = false;
    if (finished) {
        queue_.push_back(done);
    }
}

void completion_port::impl::watch_handlers(std::unique_lock<std::mutex>& lock)
{
    watching_ = true;
    taken_ = false;
    changed_.wait_for(lock, look_after);
    watching_ = false;
    find_blocked();
}

void completion_port::impl::find_blocked()
{
    const auto now = std::chrono::steady_clock::now();
    for (auto& one : running_) {
        one.blocked = one.blocked || (now - one.since >= look_after && is_asleep(one.thread));
    }
}

void completion_port::impl::wake_leader() const noexcept
{
    const std::uint64_t one = 1;
    static_cast<void>(!::write(wake_up_.get(), &one, sizeof one)); // fails only when wake-ups are waiting already
}

void completion_port::impl::drain_wake_ups() const noexcept
{
    std::uint64_t count = 0;
    static_cast<void>(!::read(wake_up_.get(), &count, sizeof count));
}

completion_port::completion_port(std::uint32_t concurrency)
    : impl_(std::make_shared<impl>(concurrency))
{}

completion_port::~completion_port() = default;

bool completion_port::attach(native_handle handle, conduit* key)
{
    return handle != invalid_handle && handle->bind(impl_, key);
}

void completion_port::post_stop()
{
    impl_->post({});
}

completion completion_port::wait()
{
    return impl_->wait();
}

} // namespace tpl
