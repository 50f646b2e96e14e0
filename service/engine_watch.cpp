#include "service/engine_watch.h"

#include "service/log.h"
#include "service/safe_text.h"

#include <utility>

namespace service {

namespace {

/// `was_probed` is false if `before` is no result of a probe.
void log_change(const engine_state& before, const engine_state& now, bool was_probed)
{
    const bool was_reachable = before.fault.empty();
    const bool is_reachable = now.fault.empty();
    if (was_reachable && !is_reachable) {
        LOG_LINE(service_log(), 200, "the engine cannot be reached: " << display_text(now.fault));
    } else if (!was_reachable && is_reachable) {
        LOG_LINE(service_log(), 200, "the engine can be reached: " << display_text(now.identity));
    } else if (was_probed && is_reachable && before.identity != now.identity) {
        LOG_LINE(service_log(), 200, "the engine has changed: " << display_text(now.identity));
    }
    if (is_reachable && !now.remark.empty() && before.remark != now.remark) {
        LOG_LINE(service_log(), 200, "a part of the engine cannot be reached: " << display_text(now.remark));
    } else if (is_reachable && now.remark.empty() && !before.remark.empty()) {
        LOG_LINE(service_log(), 200, "all parts of the engine can be reached");
    }
}

/// Whether there is such a change as log_change() logs.
void report_change(const engine_state& before, const engine_state& now, happenings& listener)
{
    const bool was_reachable = before.fault.empty();
    const bool is_reachable = now.fault.empty();
    if (was_reachable && !is_reachable) {
        listener.engine_unreachable();
    } else if (!was_reachable && is_reachable) {
        listener.engine_reachable();
    }
    if (is_reachable && !now.remark.empty() && before.remark.empty()) {
        listener.engine_part_unreachable();
    } else if (is_reachable && now.remark.empty() && !before.remark.empty()) {
        listener.all_engine_parts_reachable();
    }
}

} // namespace

engine_watch::engine_watch(istag& tag, std::chrono::milliseconds interval, std::shared_ptr<happenings> listener)
    : tag_(tag)
    , interval_(interval)
    , listener_(std::move(listener))
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
    for (const handler& done : std::exchange(waiting_, {})) {
        done();
    }
}

void engine_watch::refresh(handler done)
{
    {
        const std::lock_guard guard(lock_);
        const bool late = begun_ && clock::now() - *begun_ >= patience;
        if (!stopped_ && !late && (on_request() || !probed_)) {
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

/// The first probe changes nothing unless the engine cannot be reached.
void engine_watch::probe()
{
    const engine_state before = tag_.state();
    tag_.refresh();
    const engine_state now = tag_.state();
    log_change(before, now, probed_);
    if (listener_) {
        report_change(before, now, *listener_);
    }
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
        probe();
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
