#include "doctor/bounded_step.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace doctor {

namespace {

std::atomic<int> steps_under_way{0};

/// The result of a step, shared by its thread and the caller.
struct shared_result
{
    std::mutex lock;
    std::condition_variable changed;
    std::optional<finding> result; ///< under lock
};

finding guarded(const std::function<finding()>& step)
{
    try {
        return step();
    } catch (const std::exception& failure) {
        return failed(failure.what(), "Run this program again, as an administrator if it is not run as one.");
    }
}

} // namespace

std::optional<finding> within(std::chrono::milliseconds longest, std::function<finding()> step)
{
    const auto shared = std::make_shared<shared_result>();
    ++steps_under_way;
    std::thread runner([shared, step = std::move(step)]() mutable {
        finding result = guarded(step);
        step = nullptr; // what the step owns must end ahead of the process
        --steps_under_way;
        const std::lock_guard guard(shared->lock);
        shared->result = std::move(result);
        shared->changed.notify_all();
    });
    std::unique_lock guard(shared->lock);
    const bool ended = shared->changed.wait_for(guard, longest, [&] { return shared->result.has_value(); });
    guard.unlock();
    if (!ended) {
        runner.detach();
        return {};
    }
    runner.join();
    return std::move(shared->result);
}

bool is_step_left_behind() noexcept
{
    return steps_under_way != 0;
}

} // namespace doctor
