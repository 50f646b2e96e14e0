#include "service/engine_watch.h"

#include <utility>

namespace service {

engine_watch::engine_watch(istag& tag, std::chrono::milliseconds interval)
    : tag_(tag)
    , interval_(interval)
{}

engine_watch::~engine_watch()
{
    stop();
}

void engine_watch::start()
{
    if (!on_request()) {
        due_ = clock::now();
    }
    thread_ = std::thread([this] { run(); });
}

void engine_watch::stop()
{
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard guard(lock_);
        stopped_ = true;
        changed_.notify_all();
    }
    thread_.join();
    waiting_.clear();
}

void engine_watch::refresh(handler done)
{
    {
        const std::lock_guard guard(lock_);
        const bool late = begun_ && clock::now() - *begun_ >= patience;
        if (!late && (on_request() || !probed_)) {
            waiting_.push_back(std::move(done));
            changed_.notify_all();
            return;
        }
    }
    done();
}

bool engine_watch::wait_for_probe(std::unique_lock<std::mutex>& guard)
{
    if (on_request()) {
        changed_.wait(guard, [this] { return stopped_ || !waiting_.empty(); });
    } else {
        changed_.wait_until(guard, due_, [this] { return stopped_; });
    }
    return !stopped_;
}

void engine_watch::run()
{
    std::unique_lock guard(lock_);
    while (wait_for_probe(guard)) {
        std::vector<handler> served;
        if (on_request()) {
            served.swap(waiting_); // those that come from here on want a later probe
        }
        begun_ = clock::now();
        guard.unlock();
        tag_.refresh();
        guard.lock();
        begun_.reset();
        probed_ = true;
        due_ = clock::now() + interval_;
        if (!on_request()) {
            served.swap(waiting_);
        }
        guard.unlock();
        for (const handler& done : served) {
            done();
        }
        guard.lock();
    }
}

} // namespace service
