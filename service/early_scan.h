#pragma once

#include "service/engine/scan_engine.h"

#include <memory>
#include <optional>
#include <string_view>

namespace service {

/// The scan of an object that is fed while the object arrives, for an engine that never waits: its bytes need not be
/// fetched from memory again.
class early_scan final
{
public:
    explicit early_scan(std::unique_ptr<object_scan> scan)
        : scan_(std::move(scan))
    {}

    /// Consumes the next bytes of the object. A failure of the engine becomes the verdict.
    void feed(std::string_view piece) noexcept;
    /// Returns the verdict on the whole object. Called once at most.
    [[nodiscard]] verdict finish(web::io_data& object) noexcept;

private:
    std::unique_ptr<object_scan> scan_;
    bool wants_more_ = true;
    std::optional<error_verdict> failure_;
};

} // namespace service
