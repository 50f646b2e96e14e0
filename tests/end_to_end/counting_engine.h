#pragma once

#include "service/engine/scan_engine.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace test {

/// Judges as another engine does, and counts the objects. The health question that a link sends when it connects has no
/// object.
class counting_engine final : public service::scan_engine
{
public:
    explicit counting_engine(std::shared_ptr<service::scan_engine> real)
        : real_(std::move(real))
    {}
    [[nodiscard]] std::string_view name() const noexcept override { return real_->name(); }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& info,
                                                              service::stop_token stop) override
    {
        return std::make_unique<scan>(*this, real_->begin(info, std::move(stop)));
    }
    [[nodiscard]] std::string identity(service::stop_token stop) override { return real_->identity(std::move(stop)); }

    /// Returns the number of objects since the last call.
    std::size_t take_count() { return objects_.exchange(0); }

private:
    class scan final : public service::object_scan
    {
    public:
        scan(counting_engine& owner, std::unique_ptr<service::object_scan> real)
            : owner_(owner)
            , real_(std::move(real))
        {}
        bool data(std::string_view piece) override
        {
            if (!counted_ && !piece.empty()) {
                counted_ = true; // before the verdict, so that the object is counted when the verdict is received
                ++owner_.objects_;
            }
            return real_->data(piece);
        }
        [[nodiscard]] service::verdict finish(web::io_data& object) override { return real_->finish(object); }

    private:
        counting_engine& owner_;
        std::unique_ptr<service::object_scan> real_;
        bool counted_ = false;
    };

    std::shared_ptr<service::scan_engine> real_;
    std::atomic<std::size_t> objects_ = 0;
};

} // namespace test
