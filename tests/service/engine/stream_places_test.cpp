#include "service/engine/kept_streams.h"
#include "service/engine/stream_places.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace stream_places_test {

using service::stream_places;

TEST(stream_places, are_as_many_as_wanted)
{
    stream_places places(2);
    auto first = places.take_free();
    const auto second = places.take_free();
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(places.take_free(), nullptr);
    first.reset();
    EXPECT_NE(places.take_free(), nullptr);
}

TEST(stream_places, are_unlimited_without_a_number)
{
    stream_places places(0);
    std::vector<std::unique_ptr<stream_places::place>> taken;
    for (int i = 0; i < 100; ++i) {
        taken.push_back(places.take({}));
        EXPECT_NE(taken.back(), nullptr);
    }
}

TEST(stream_places, may_become_more_or_fewer)
{
    stream_places places(0);
    auto first = places.take_free();
    auto second = places.take_free();
    places.resize(1);
    EXPECT_EQ(places.take_free(), nullptr);
    first.reset();
    EXPECT_EQ(places.take_free(), nullptr);
    std::thread waiting([&] { EXPECT_NE(places.take({}), nullptr); });
    places.resize(2);
    waiting.join();
    second.reset();
    EXPECT_NE(places.take_free(), nullptr);
}

TEST(stream_places, are_waited_for_until_a_stop)
{
    stream_places places(1);
    const auto taken = places.take({});
    service::stop_source stop;
    std::thread waiting([&] { EXPECT_THROW((void)places.take(stop.get_token()), std::runtime_error); });
    stop.request_stop();
    waiting.join();
}

/// Counts the objects that exist.
class counted_stream
{
public:
    explicit counted_stream(int& count)
        : count_(count)
    {
        ++count_;
    }
    counted_stream(const counted_stream&) = delete;
    counted_stream& operator=(const counted_stream&) = delete;
    ~counted_stream() { --count_; }
    [[nodiscard]] static bool is_quiet() { return true; }
    void reuse(service::stop_token = {}, std::chrono::steady_clock::time_point = {}) {}

private:
    int& count_;
};

TEST(kept_streams, are_no_more_than_wanted)
{
    using streams = service::kept_streams<counted_stream>;
    int count = 0;
    streams kept([] { return std::chrono::steady_clock::time_point(); });
    const auto keep = [&](std::size_t added) {
        for (std::size_t i = 0; i < added; ++i) {
            kept.keep(std::make_unique<counted_stream>(count));
        }
        return count;
    };
    const int most = streams::most;
    EXPECT_EQ(keep(streams::most + 1), most);
    kept.limit(3);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(keep(2), 3);
    kept.limit(streams::most + 1);
    EXPECT_EQ(keep(streams::most + 1), most);
}

} // namespace stream_places_test
