#pragma once

#include "service/engine/scan_engine.h"
#include "tool/web/body_store.h"

#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

/// An engine with the verdict that a test sets, which records the objects that it has judged. Thread-safe.
class planned_engine final : public service::scan_engine
{
public:
    using plan = std::function<service::verdict()>;

    explicit planned_engine(
        std::string name, plan outcome = [] { return service::clean_verdict{}; })
        : name_(std::move(name))
        , plan_(std::move(outcome))
        , state_{name_ + "-1", {}}
    {}

    [[nodiscard]] std::string_view name() const noexcept override { return name_; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& info,
                                                              service::stop_token) override
    {
        return std::make_unique<one_scan>(*this, info.size);
    }
    [[nodiscard]] std::string identity(service::stop_token) override { return state().identity; }
    [[nodiscard]] service::engine_state probe(service::stop_token) override { return state(); }

    void set(plan outcome)
    {
        const std::lock_guard guard(lock_);
        plan_ = std::move(outcome);
    }
    void fail(std::string why)
    {
        set([why] { return service::error_verdict{why}; });
    }
    void clear()
    {
        set([] { return service::clean_verdict{}; });
    }
    void set_state(service::engine_state state)
    {
        const std::lock_guard guard(lock_);
        state_ = std::move(state);
    }
    /// Returns the objects that were judged, and forgets them.
    std::vector<std::string> take_objects()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(objects_, {});
    }

private:
    class one_scan final : public service::object_scan
    {
    public:
        one_scan(planned_engine& engine, std::uint64_t size)
            : engine_(engine)
            , size_(size)
        {}
        bool data(std::string_view piece) override
        {
            object_.append(piece);
            return true;
        }
        [[nodiscard]] service::verdict finish(web::io_data& object) override
        {
            if (object_.size() != size_ || object.size() != size_) {
                throw std::logic_error("the object is not whole");
            }
            plan outcome;
            {
                const std::lock_guard guard(engine_.lock_);
                engine_.objects_.push_back(object_);
                outcome = engine_.plan_;
            }
            return outcome();
        }

    private:
        planned_engine& engine_;
        std::uint64_t size_;
        std::string object_;
    };

    service::engine_state state()
    {
        const std::lock_guard guard(lock_);
        return state_;
    }

    const std::string name_;
    std::mutex lock_;
    plan plan_;
    service::engine_state state_;
    std::vector<std::string> objects_;
};

} // namespace test
