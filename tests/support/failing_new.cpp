#include "tests/support/failing_new.h"

#include "tests/support/replaced_new.h"

#include <atomic>
#include <cstdlib>

namespace {

/// Decides which allocations are refused. Thread-safe.
class plan
{
public:
    void set(std::size_t nth, test::refusals which) noexcept
    {
        left_ = 0;
        which_ = which;
        refused_ = false;
        left_ = nth;
    }
    void clear() noexcept { left_ = 0; }
    [[nodiscard]] bool refused() const noexcept { return refused_; }

    bool refuses() noexcept
    {
        std::size_t left = left_;
        while (left > 1 || (left == 1 && which_ == test::refusals::one)) {
            if (left_.compare_exchange_weak(left, left - 1)) {
                refused_ = refused_ || left == 1;
                return left == 1;
            }
        }
        refused_ = refused_ || left == 1;
        return left == 1;
    }

private:
    std::atomic<std::size_t> left_{0}; ///< allocations up to the one that is refused; 0: none is refused
    std::atomic<test::refusals> which_{test::refusals::one};
    std::atomic<bool> refused_{false};
};

thread_local plan own_plan;
thread_local bool refuses_others = false;
plan plan_of_others;

bool refuses() noexcept
{
    return own_plan.refuses() || (!refuses_others && plan_of_others.refuses());
}

} // namespace

namespace test {

void* memory_or_null(std::size_t size) noexcept
{
    return refuses() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

failing_new::failing_new(std::size_t nth, refusals which, threads whose) noexcept
    : whose_(whose)
{
    if (whose_ == threads::own) {
        own_plan.set(nth, which);
    } else {
        refuses_others = true;
        plan_of_others.set(nth, which);
    }
}

failing_new::~failing_new()
{
    if (whose_ == threads::own) {
        own_plan.clear();
    } else {
        plan_of_others.clear();
        refuses_others = false;
    }
}

bool failing_new::failed() const noexcept
{
    return whose_ == threads::own ? own_plan.refused() : plan_of_others.refused();
}

} // namespace test
