#pragma once

#include <atomic>
#include <thread>

namespace test {

/// Calls the two functions again and again, each on a thread of its own. They meet at the beginning only, so that the
/// locks which they take are all that keeps one from the data of the other.
template <class First, class Second>
void at_once(First first, Second second)
{
    constexpr int times = 200;
    std::atomic<int> waiting{2};
    const auto run = [&waiting](auto& action) {
        --waiting;
        while (waiting != 0) {
            std::this_thread::yield();
        }
        for (int time = 0; time < times; ++time) {
            action();
        }
    };
    std::thread other([&] { run(second); });
    run(first);
    other.join();
}

} // namespace test
