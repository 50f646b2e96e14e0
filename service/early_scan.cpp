#include "service/early_scan.h"

#include <exception>

namespace service {

namespace {

constexpr const char* unknown_failure = "unknown failure of the engine";

} // namespace

void early_scan::feed(std::string_view piece) noexcept
{
    if (!wants_more_ || piece.empty()) {
        return;
    }
    try {
        wants_more_ = scan_->data(piece);
    } catch (const std::exception& failure) {
        wants_more_ = false;
        failure_ = failure.what();
        scan_.reset();
    } catch (...) {
        wants_more_ = false;
        failure_ = unknown_failure;
        scan_.reset();
    }
}

verdict early_scan::finish(web::io_data& object) noexcept
{
    if (!scan_) {
        return error_verdict{failure_};
    }
    try {
        return scan_->finish(object);
    } catch (const std::exception& failure) {
        return error_verdict{failure.what()};
    } catch (...) {
        return error_verdict{unknown_failure};
    }
}

} // namespace service
