#pragma once

#include "service/engine/scan_engine.h"

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

/// Keeps every object that it receives. Blocks objects that contain a specified text.
class keeping_engine final : public service::scan_engine
{
public:
    /// Objects that contain `condemned` are blocked. If it is empty, none are.
    explicit keeping_engine(std::string condemned = {})
        : condemned_(std::move(condemned))
    {}
    [[nodiscard]] std::string_view name() const noexcept override { return "keeping"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info&, service::stop_token) override
    {
        return std::make_unique<scan>(*this);
    }
    [[nodiscard]] std::string identity(service::stop_token) override { return "1"; }
    /// Returns the objects in the order in which they were finished.
    [[nodiscard]] std::vector<std::string> objects()
    {
        const std::lock_guard guard(lock_);
        return objects_;
    }

private:
    class scan final : public service::object_scan
    {
    public:
        explicit scan(keeping_engine& owner)
            : owner_(owner)
        {}
        bool data(std::string_view piece) override
        {
            text_.append(piece);
            return true;
        }
        [[nodiscard]] service::verdict finish(web::io_data&) override
        {
            const bool blocked = !owner_.condemned_.empty() && text_.find(owner_.condemned_) != std::string::npos;
            const std::lock_guard guard(owner_.lock_);
            owner_.objects_.push_back(std::move(text_));
            return blocked ? service::verdict(service::blocked_verdict{"Kept"}) : service::clean_verdict{};
        }

    private:
        keeping_engine& owner_;
        std::string text_;
    };

    std::string condemned_;
    std::mutex lock_;
    std::vector<std::string> objects_;
};

} // namespace test
