#include "doctor/bounded_step.h"
#include "doctor/examination.h"
#include "tests/doctor/findings.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace examination_test {

using namespace doctor;
using namespace std::chrono_literals;

constexpr auto long_enough = 60s;

/// Waits until it is opened.
class gate
{
public:
    void open()
    {
        const std::lock_guard guard(lock_);
        open_ = true;
        changed_.notify_all();
    }
    void wait()
    {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return open_; });
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool open_ = false;
};

std::vector<std::string> names_of(const std::vector<check>& checks)
{
    std::vector<std::string> names;
    for (const check& one : checks) {
        names.push_back(one.name);
    }
    return names;
}

TEST(examination, goes_through_the_rows_in_their_order)
{
    const auto rows =
        examine({{"a", [] { return ok("fine"); }, {}}, {"b", [] { return warning("w", "do"); }, {}}}, long_enough);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].name, "a");
    EXPECT_THAT(rows[0].result, is_finding(row_state::ok, "fine", ""));
    EXPECT_EQ(rows[1].name, "b");
    EXPECT_THAT(rows[1].result, is_finding(row_state::warning, "w", "do"));
}

TEST(examination, takes_an_exception_for_a_failed_row)
{
    const auto rows = examine({{"a", []() -> finding { throw std::runtime_error("no such key"); }, {}}}, long_enough);
    EXPECT_THAT(rows.at(0).result, is_finding(row_state::failed, "no such key", "administrator"));
}

TEST(examination, leaves_a_step_behind_that_does_not_end)
{
    const auto held = std::make_shared<gate>();
    const auto hanging = [held] {
        held->wait();
        return ok("late");
    };
    const auto rows = examine({{"a", hanging, "restart it"}}, 1ms);
    EXPECT_THAT(rows.at(0).result, is_finding(row_state::failed, "no result within 1 ms", "restart it"));
    EXPECT_TRUE(is_step_left_behind());
    held->open();
    while (is_step_left_behind()) {
        std::this_thread::yield();
    }
}

TEST(examination, is_of_the_chosen_rows)
{
    const auto done = [] { return ok(""); };
    const std::vector<check> checks{{"a", done, {}}, {"b", done, {}}, {"c", done, {}}};
    EXPECT_THAT(names_of(chosen(checks, {})), testing::ElementsAre("a", "b", "c"));
    EXPECT_THAT(names_of(chosen(checks, {"c", "a"})), testing::ElementsAre("a", "c"));
    try {
        (void)chosen(checks, {"a", "d"});
        FAIL();
    } catch (const std::invalid_argument& problem) {
        EXPECT_STREQ(problem.what(), "there is no row 'd'; the rows are a, b, c");
    }
}

} // namespace examination_test
