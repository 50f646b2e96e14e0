#pragma once

#include "service/engine/scan_engine.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace bench {

/// Finds everything clean and counts what it has judged. The empty object of a health question does not count.
class counting_engine final : public service::scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "counting"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info&, service::stop_token) override
    {
        return std::make_unique<one_scan>(*this);
    }
    [[nodiscard]] std::string identity(service::stop_token) override { return "1"; }

    [[nodiscard]] std::uint64_t scans() const noexcept { return scans_; }
    /// Bytes of all objects that were judged.
    [[nodiscard]] std::uint64_t scanned_bytes() const noexcept { return scanned_bytes_; }

private:
    class one_scan final : public service::object_scan
    {
    public:
        explicit one_scan(counting_engine& owner)
            : owner_(owner)
        {}
        bool data(std::string_view) override { return true; }
        service::verdict finish(web::io_data& object) override
        {
            const std::uint64_t size = object.size();
            owner_.scans_ += size > 0 ? 1 : 0;
            owner_.scanned_bytes_ += size;
            return service::clean_verdict{};
        }

    private:
        counting_engine& owner_;
    };

    std::atomic<std::uint64_t> scans_{0};
    std::atomic<std::uint64_t> scanned_bytes_{0};
};

} // namespace bench
