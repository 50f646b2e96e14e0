#include "bench/icap_load.h"

#include "bench/icap_asking.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <memory>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <system_error>
#include <unistd.h>

namespace bench {

namespace {

using clock_type = icap_asker::clock;

constexpr std::size_t block_size = 262144;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// A descriptor that is closed.
class owned_descriptor
{
public:
    explicit owned_descriptor(int value)
        : value_(value)
    {}
    owned_descriptor(const owned_descriptor&) = delete;
    owned_descriptor& operator=(const owned_descriptor&) = delete;
    ~owned_descriptor() { ::close(value_); }
    [[nodiscard]] int get() const noexcept { return value_; }

private:
    int value_;
};

class generator
{
public:
    explicit generator(const icap_load& load)
        : load_(load)
        , poll_(::epoll_create1(0))
        , timer_(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK))
        , block_(block_size)
    {
        for (const std::size_t size : load.object_sizes) {
            requests_.push_back(std::make_unique<icap_request>(load, size));
        }
    }

    icap_load_result run()
    {
        connect();
        const auto start = clock_type::now();
        end_ = start + load_.time;
        if (load_.interval.count() != 0) {
            start_timer();
        }
        for (const auto& one : askers_) {
            watch(one->socket(), EPOLLIN | EPOLLOUT | EPOLLET, one.get());
            take(*one);
        }
        while (under_way_ != 0 || !due_.empty() || (load_.interval.count() != 0 && is_time_left())) {
            wait();
        }
        result_.seconds = std::chrono::duration<double>(clock_type::now() - start).count();
        if (load_.answered) {
            load_.answered();
        }
        std::sort(result_.latencies.begin(), result_.latencies.end());
        for (auto& [size, latencies] : result_.of_sizes) {
            std::sort(latencies.begin(), latencies.end());
        }
        return std::move(result_);
    }

private:
    void connect()
    {
        for (std::size_t i = 0; i < load_.connections; ++i) {
            askers_.push_back(std::make_unique<icap_asker>(load_.port));
        }
        if (load_.connected) {
            load_.connected();
        }
    }

    void start_timer()
    {
        constexpr long nanoseconds = 1000000000;
        itimerspec times{};
        times.it_interval = {load_.interval.count() / nanoseconds, load_.interval.count() % nanoseconds};
        times.it_value = times.it_interval;
        if (::timerfd_settime(timer_.get(), 0, &times, nullptr) != 0) {
            fail("timerfd_settime");
        }
        watch(timer_.get(), EPOLLIN, nullptr);
    }

    void watch(int handle, std::uint32_t events, void* context)
    {
        epoll_event wanted{};
        wanted.events = events;
        wanted.data.ptr = context;
        if (::epoll_ctl(poll_.get(), EPOLL_CTL_ADD, handle, &wanted) != 0) {
            fail("epoll_ctl");
        }
    }

    [[nodiscard]] bool is_time_left() const { return begun_ < load_.most_requests && clock_type::now() < end_; }

    /// A connection has nothing under way.
    void take(icap_asker& one)
    {
        if (load_.interval.count() != 0) {
            idle_.push_back(&one);
            ask_what_is_due();
        } else if (is_time_left()) {
            ask(one, clock_type::now());
        }
    }

    void ask_what_is_due()
    {
        while (!due_.empty() && !idle_.empty()) {
            icap_asker& one = *idle_.front();
            idle_.pop_front();
            ask(one, due_.front());
            due_.pop_front();
        }
    }

    void ask(icap_asker& one, clock_type::time_point due)
    {
        ++under_way_;
        const icap_request& request = *requests_[begun_ % requests_.size()];
        one.begin(request, ++begun_, due);
    }

    void take_ticks()
    {
        std::uint64_t ticks = 0;
        if (::read(timer_.get(), &ticks, sizeof ticks) != sizeof ticks) {
            return;
        }
        for (; ticks != 0 && begun_ + due_.size() < load_.most_requests && clock_type::now() < end_; --ticks) {
            due_.push_back(clock_type::now() - load_.interval * (ticks - 1));
        }
        ask_what_is_due();
        if (!is_time_left()) { // so that a wait for an answer is not ended by the timer
            (void)::epoll_ctl(poll_.get(), EPOLL_CTL_DEL, timer_.get(), nullptr);
        }
    }

    void wait()
    {
        constexpr int most_events = 256;
        constexpr int patience = 60000;
        std::array<epoll_event, most_events> events{};
        const int count = ::epoll_wait(poll_.get(), events.data(), most_events, patience);
        if (count == 0) {
            throw std::runtime_error("no answer within a minute");
        }
        for (int i = 0; i < count; ++i) {
            const epoll_event& event = events.at(static_cast<std::size_t>(i));
            if (event.data.ptr == nullptr) {
                take_ticks();
                continue;
            }
            auto& one = *static_cast<icap_asker*>(event.data.ptr);
            if ((event.events & EPOLLOUT) != 0) {
                one.send();
            }
            if ((event.events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0 && one.receive(block_)) {
                note(one);
                take(one);
            }
        }
    }

    void note(const icap_asker& one)
    {
        --under_way_;
        ++result_.answers[one.status()];
        result_.latencies.push_back(one.milliseconds());
        result_.of_sizes[one.object_size()].push_back(result_.latencies.back());
    }

    icap_load load_;
    std::vector<std::unique_ptr<icap_request>> requests_;
    owned_descriptor poll_;
    owned_descriptor timer_;
    std::vector<char> block_;
    std::vector<std::unique_ptr<icap_asker>> askers_;
    std::deque<icap_asker*> idle_;           ///< with an interval only; longest idle first
    std::deque<clock_type::time_point> due_; ///< requests for which no connection was idle
    clock_type::time_point end_;
    std::uint64_t begun_ = 0;
    std::uint64_t under_way_ = 0;
    icap_load_result result_;
};

} // namespace

double percentile(const std::vector<float>& ascending, double share)
{
    if (ascending.empty()) {
        return 0;
    }
    const auto place = static_cast<std::size_t>(share * static_cast<double>(ascending.size()));
    return ascending[std::min(place, ascending.size() - 1)];
}

double icap_load_result::percentile(double share) const
{
    return bench::percentile(latencies, share);
}

icap_load_result run(const icap_load& load)
{
    return generator(load).run();
}

} // namespace bench
