#pragma once

#include "service/engine/builtin_engine.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace test {

/// Judges as the builtin engine does, except for the objects that are begun while a fault is in place. Thread-safe.
class faulty_engine final : public service::scan_engine
{
public:
    /// What happens to an object. `stop` is that of its scan.
    struct fault
    {
        using action = std::function<void(const service::stop_token& stop)>;
        action at_begin;
        action at_data;
        action at_finish;
    };

    [[nodiscard]] std::string_view name() const noexcept override { return "faulty"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& info,
                                                              service::stop_token stop) override
    {
        fault chosen = take_fault();
        if (chosen.at_begin) {
            chosen.at_begin(stop);
        }
        return std::make_unique<scan>(std::move(chosen), real_.begin(info, stop), stop);
    }
    [[nodiscard]] std::string identity(service::stop_token stop) override { return real_.identity(std::move(stop)); }

    /// Puts a fault in place, which an empty one ends.
    void set(fault now)
    {
        const std::lock_guard guard(lock_);
        fault_ = std::move(now);
    }
    /// Waits until that many objects have been begun. Returns false after a bounded time.
    bool wait_for_objects(int count)
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, patience, [&] { return objects_ >= count; });
    }
    /// An action that waits until release() has been called, whatever is requested of it.
    fault::action wait_for_release()
    {
        return [this](const service::stop_token&) {
            std::unique_lock guard(lock_);
            changed_.wait_for(guard, patience, [&] { return released_; });
        };
    }
    /// An action that waits until the scan is to be stopped.
    fault::action wait_for_stop()
    {
        return [this](const service::stop_token& stop) {
            const service::stop_callback on_stop(stop, [this] {
                const std::lock_guard guard(lock_);
                changed_.notify_all();
            });
            std::unique_lock guard(lock_);
            changed_.wait_for(guard, patience, [&] { return stop.stop_requested(); });
        };
    }
    void release()
    {
        const std::lock_guard guard(lock_);
        released_ = true;
        changed_.notify_all();
    }

private:
    static constexpr std::chrono::seconds patience{60};

    class scan final : public service::object_scan
    {
    public:
        scan(fault chosen, std::unique_ptr<service::object_scan> real, service::stop_token stop)
            : fault_(std::move(chosen))
            , real_(std::move(real))
            , stop_(std::move(stop))
        {}
        bool data(std::string_view piece) override
        {
            if (fault_.at_data) {
                fault_.at_data(stop_);
            }
            return real_->data(piece);
        }
        [[nodiscard]] service::verdict finish(web::io_data& object) override
        {
            if (fault_.at_finish) {
                fault_.at_finish(stop_);
            }
            return real_->finish(object);
        }

    private:
        fault fault_;
        std::unique_ptr<service::object_scan> real_;
        service::stop_token stop_;
    };

    fault take_fault()
    {
        const std::lock_guard guard(lock_);
        ++objects_;
        changed_.notify_all();
        return fault_;
    }

    service::builtin_engine real_;
    std::mutex lock_;
    std::condition_variable changed_;
    fault fault_;
    int objects_ = 0;
    bool released_ = false;
};

} // namespace test
