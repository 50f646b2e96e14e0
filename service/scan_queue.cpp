#include "service/scan_queue.h"

#include "service/judgement.h"

#include <utility>

namespace service {

scan_queue::scan_queue(std::size_t threads)
{
    try {
        for (std::size_t i = 0; i < threads; ++i) {
            threads_.emplace_back([this] { run(); });
        }
    } catch (...) {
        stop(); // the threads that there are
        throw;
    }
}

scan_queue::~scan_queue()
{
    stop();
}

scan_queue::place scan_queue::submit(std::shared_ptr<judgement> waiting)
{
    const std::lock_guard guard(lock_);
    ++last_;
    if (!stopped_) {
        waiting_.emplace(last_, std::move(waiting));
        changed_.notify_one();
    }
    return last_;
}

void scan_queue::withdraw(place left)
{
    std::shared_ptr<judgement> dropped; // is destroyed without the lock
    const std::lock_guard guard(lock_);
    if (const auto found = waiting_.find(left); found != waiting_.end()) {
        dropped = std::move(found->second);
        waiting_.erase(found);
    }
}

scan_load scan_queue::load()
{
    const std::lock_guard guard(lock_);
    return {waiting_.size(), running_};
}

void scan_queue::stop()
{
    {
        const std::lock_guard guard(lock_);
        stopped_ = true;
        changed_.notify_all();
    }
    for (auto& thread : threads_) {
        thread.join();
    }
    threads_.clear();
    std::map<place, std::shared_ptr<judgement>> dropped; // is destroyed without the lock
    const std::lock_guard guard(lock_);
    dropped.swap(waiting_);
}

void scan_queue::run()
{
    std::unique_lock guard(lock_);
    for (;;) {
        changed_.wait(guard, [this] { return stopped_ || !waiting_.empty(); });
        if (stopped_) {
            return;
        }
        auto next = std::move(waiting_.begin()->second);
        waiting_.erase(waiting_.begin());
        ++running_;
        guard.unlock();
        next->run();
        next.reset();
        guard.lock();
        --running_;
    }
}

} // namespace service
