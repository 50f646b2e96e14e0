#include "service/early_scan.h"

#include <utility>

namespace service {

void early_scan::feed(std::string_view piece) noexcept
{
    if (!wants_more_ || piece.empty()) {
        return;
    }
    failure_ = failure_of([&] { wants_more_ = scan_->data(piece); });
    if (failure_) {
        wants_more_ = false;
        scan_.reset();
    }
}

verdict early_scan::finish(web::io_data& object) noexcept
{
    verdict outcome;
    if (!failure_) {
        failure_ = failure_of([&] { outcome = scan_->finish(object); });
    }
    if (failure_) {
        return *std::exchange(failure_, std::nullopt);
    }
    return outcome;
}

} // namespace service
