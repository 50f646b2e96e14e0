#pragma once

#include "service/scan_engine.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace test {

/// Judges as another engine does, and counts the objects that it is asked about.
class counting_engine final : public service::scan_engine
{
public:
    explicit counting_engine(std::shared_ptr<service::scan_engine> real)
        : real_(std::move(real))
    {}
    [[nodiscard]] std::string_view name() const noexcept override { return real_->name(); }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& info,
                                                              std::stop_token stop) override
    {
        ++objects_;
        return real_->begin(info, std::move(stop));
    }
    [[nodiscard]] std::string identity(std::stop_token stop) override { return real_->identity(std::move(stop)); }

    /// The objects since the last call.
    std::size_t take_count() { return objects_.exchange(0); }

private:
    std::shared_ptr<service::scan_engine> real_;
    std::atomic<std::size_t> objects_ = 0;
};

} // namespace test
