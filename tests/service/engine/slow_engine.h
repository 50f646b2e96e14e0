#pragma once

#include "service/engine/scan_engine.h"
#include "service/engine/stop.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace test {

/// Clears small objects at once. A scan of an object of `slow_size` bytes or more ends when it is stopped. While
/// `hold_probes` is in force, a probe does not end either. Every wait is bounded.
class slow_engine final : public service::scan_engine
{
public:
    static constexpr std::uint64_t slow_size = 100;

    [[nodiscard]] std::string_view name() const noexcept override { return "slow"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& info,
                                                              service::stop_token stop) override
    {
        if (info.size >= slow_size) {
            const service::stop_callback on_stop(stop, [this] { wake(); });
            std::unique_lock guard(lock_);
            ++begun_;
            changed_.notify_all();
            changed_.wait_for(guard, patience, [&] { return stop.stop_requested(); });
            ++stopped_;
            changed_.notify_all();
            throw std::runtime_error("stopped");
        }
        return std::make_unique<clean_scan>();
    }
    [[nodiscard]] std::string identity(service::stop_token stop) override
    {
        const service::stop_callback on_stop(stop, [this] { wake(); });
        std::unique_lock guard(lock_);
        changed_.wait_for(guard, patience, [&] { return !held_ || stop.stop_requested(); });
        return identity_;
    }
    [[nodiscard]] service::engine_state probe(service::stop_token stop) override
    {
        std::string answer = identity(std::move(stop));
        const std::lock_guard guard(lock_);
        return {std::move(answer), fault_, remark_};
    }

    /// Wait until that many slow scans have begun, or have been stopped. Return false after a bounded time.
    bool wait_for_scans(int count) { return wait_until(begun_, count); }
    bool wait_for_stops(int count) { return wait_until(stopped_, count); }
    void hold_probes(bool held)
    {
        const std::lock_guard guard(lock_);
        held_ = held;
        changed_.notify_all();
    }
    void set_state(std::string identity, std::string fault, std::string remark = {})
    {
        const std::lock_guard guard(lock_);
        identity_ = std::move(identity);
        fault_ = std::move(fault);
        remark_ = std::move(remark);
    }

private:
    static constexpr std::chrono::seconds patience{30}; ///< longer than any test needs

    class clean_scan final : public service::object_scan
    {
        bool data(std::string_view) override { return true; }
        [[nodiscard]] service::verdict finish(web::io_data&) override { return service::clean_verdict{}; }
    };

    void wake()
    {
        const std::lock_guard guard(lock_);
        changed_.notify_all();
    }
    bool wait_until(const int& counter, int count)
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, patience, [&] { return counter >= count; });
    }

    std::mutex lock_;
    std::condition_variable changed_;
    int begun_ = 0;
    int stopped_ = 0;
    bool held_ = false;
    std::string identity_ = "1";
    std::string fault_;
    std::string remark_;
};

} // namespace test
