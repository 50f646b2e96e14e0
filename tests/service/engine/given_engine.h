#pragma once

#include "service/engine/scan_engine.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace test {

/// Judges every object as a function of the test does, and counts the scans.
class given_engine final : public service::scan_engine
{
public:
    using judge = std::function<service::verdict(const std::string& object)>;

    explicit given_engine(judge decide, std::string identity = "1")
        : decide_(std::move(decide))
        , identity_(std::move(identity))
    {}

    [[nodiscard]] std::string_view name() const noexcept override { return "given"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& /*info*/,
                                                              service::stop_token /*stop*/) override
    {
        ++scans_;
        return std::make_unique<scan>(decide_);
    }
    [[nodiscard]] std::string identity(service::stop_token /*stop*/) override
    {
        const std::lock_guard guard(lock_);
        return identity_;
    }

    void set_identity(std::string identity)
    {
        const std::lock_guard guard(lock_);
        identity_ = std::move(identity);
    }
    [[nodiscard]] int scans() const noexcept { return scans_; }

private:
    class scan final : public service::object_scan
    {
    public:
        explicit scan(judge decide)
            : decide_(std::move(decide))
        {}
        bool data(std::string_view piece) override
        {
            object_.append(piece);
            return true;
        }
        [[nodiscard]] service::verdict finish(web::io_data& /*object*/) override { return decide_(object_); }

    private:
        judge decide_;
        std::string object_;
    };

    judge decide_;
    std::mutex lock_;
    std::string identity_;
    std::atomic<int> scans_ = 0;
};

} // namespace test
