#include "service/verdict_cache.h"
#include "tests/support/meeting_point.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace verdict_cache_test {

using service::blocked_verdict;
using service::clean_verdict;
using service::verdict_cache;

verdict_cache::key key(unsigned number)
{
    verdict_cache::key made{};
    for (std::size_t i = 0; i < sizeof number; ++i) {
        made[i] = static_cast<unsigned char>(number >> (8 * i));
    }
    return made;
}

/// Returns "clean", "none", or the threat.
std::string known(verdict_cache& cache, unsigned object, std::uint64_t generation)
{
    const auto found = cache.find(key(object), generation);
    if (!found) {
        return "none";
    }
    const auto* const blocked = std::get_if<blocked_verdict>(&*found);
    EXPECT_TRUE(blocked != nullptr || std::holds_alternative<clean_verdict>(*found));
    return blocked != nullptr ? blocked->threat : "clean";
}

TEST(verdict_cache, returns_what_was_entered)
{
    verdict_cache cache(10);
    EXPECT_EQ(known(cache, 1, 1), "none");
    cache.enter(key(1), 1, clean_verdict{});
    cache.enter(key(2), 1, blocked_verdict{"Some.Threat"});
    cache.enter(key(3), 1, blocked_verdict{""});
    EXPECT_EQ(known(cache, 1, 1), "clean");
    EXPECT_EQ(known(cache, 2, 1), "Some.Threat");
    EXPECT_EQ(known(cache, 3, 1), "");
    EXPECT_EQ(known(cache, 4, 1), "none");
    cache.enter(key(1), 1, blocked_verdict{"Other"});
    EXPECT_EQ(known(cache, 1, 1), "Other");
    const auto numbers = cache.numbers();
    EXPECT_EQ(numbers.entries, 3U);
    EXPECT_EQ(numbers.hits, 4U);
    EXPECT_EQ(numbers.misses, 2U);
}

TEST(verdict_cache, distinguishes_objects_by_every_byte_of_the_digest)
{
    verdict_cache cache(10);
    cache.enter(key(1), 1, clean_verdict{});
    for (std::size_t i = 0; i < key(1).size(); ++i) {
        auto other = key(1);
        other[i] ^= 0x80U;
        EXPECT_FALSE(cache.find(other, 1).has_value()) << i;
    }
}

TEST(verdict_cache, keeps_only_verdicts_that_last)
{
    verdict_cache cache(10);
    cache.enter(key(1), 1, service::error_verdict{"gone"});
    cache.enter(key(2), 1, service::unchecked_verdict{"encrypted"});
    cache.enter(key(3), 1, service::repaired_verdict{"Some.Threat", nullptr});
    cache.enter(key(4), 1, blocked_verdict{std::string(verdict_cache::longest_threat + 1, 'x')});
    EXPECT_EQ(cache.numbers().entries, 0U);
    const std::string longest(verdict_cache::longest_threat, 'x');
    cache.enter(key(5), 1, blocked_verdict{longest});
    EXPECT_EQ(known(cache, 5, 1), longest);
}

TEST(verdict_cache, removes_the_entry_that_was_not_used_for_the_longest_time)
{
    verdict_cache cache(3);
    cache.enter(key(1), 1, clean_verdict{});
    cache.enter(key(2), 1, clean_verdict{});
    cache.enter(key(3), 1, clean_verdict{});
    EXPECT_EQ(known(cache, 1, 1), "clean"); // now 2 is the oldest, then 3
    cache.enter(key(4), 1, clean_verdict{});
    EXPECT_EQ(known(cache, 2, 1), "none");
    cache.enter(key(3), 1, clean_verdict{}); // now 1
    cache.enter(key(5), 1, clean_verdict{});
    EXPECT_EQ(known(cache, 1, 1), "none");
    EXPECT_EQ(known(cache, 3, 1), "clean");
    EXPECT_EQ(known(cache, 4, 1), "clean");
    EXPECT_EQ(known(cache, 5, 1), "clean");
    EXPECT_EQ(cache.numbers().entries, 3U);
}

TEST(verdict_cache, has_entries_of_one_generation_only)
{
    verdict_cache cache(10);
    cache.enter(key(1), 1, clean_verdict{});
    EXPECT_EQ(known(cache, 1, 2), "none");
    EXPECT_EQ(cache.numbers().entries, 0U);
    // A scan that began before the change.
    cache.enter(key(1), 1, clean_verdict{});
    EXPECT_EQ(known(cache, 1, 2), "none");
    EXPECT_EQ(known(cache, 1, 1), "none");
    cache.enter(key(1), 2, clean_verdict{});
    EXPECT_EQ(known(cache, 1, 1), "none");
    EXPECT_EQ(known(cache, 1, 2), "clean");
    cache.enter(key(2), 3, clean_verdict{});
    EXPECT_EQ(cache.numbers().entries, 1U);
}

TEST(verdict_cache, of_no_entries_keeps_nothing)
{
    verdict_cache cache(0);
    EXPECT_FALSE(cache.enabled());
    cache.enter(key(1), 1, clean_verdict{});
    EXPECT_EQ(known(cache, 1, 1), "none");
}

TEST(verdict_cache, never_returns_the_verdict_of_another_object_or_generation_to_any_thread)
{
    constexpr int threads = 8;
    constexpr unsigned rounds = 4000;
    constexpr unsigned objects = 40;
    verdict_cache cache(objects / 2);
    std::atomic<std::uint64_t> generation = 1;
    std::atomic<int> wrong = 0;
    std::atomic<int> right = 0;
    test::meeting_point start(threads);
    std::vector<std::thread> running;
    for (int thread = 0; thread < threads; ++thread) {
        running.emplace_back([&, thread] {
            start.arrive_and_wait();
            for (unsigned i = 0; i < rounds; ++i) {
                const unsigned object = (i * 7 + static_cast<unsigned>(thread)) % objects;
                const std::uint64_t now = generation;
                const std::string threat = std::to_string(object) + "/" + std::to_string(now);
                const auto found = cache.find(key(object), now);
                if (!found) {
                    cache.enter(key(object), now, blocked_verdict{threat});
                } else {
                    const auto* const blocked = std::get_if<blocked_verdict>(&*found);
                    blocked != nullptr && blocked->threat == threat ? ++right : ++wrong;
                }
                if (thread == 0 && i % 500 == 499) {
                    ++generation;
                }
            }
        });
    }
    for (auto& thread : running) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(right, 0);
    EXPECT_LE(cache.numbers().entries, objects / 2);
}

} // namespace verdict_cache_test
