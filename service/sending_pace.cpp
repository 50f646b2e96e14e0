#include "service/sending_pace.h"

namespace service {

void sending_pace::restart()
{
    head_due_.reset();
    period_end_.reset();
}

std::optional<sending_pace::clock::time_point> sending_pace::next_check(part expected, clock::time_point now,
                                                                        const std::function<std::size_t()>& unread)
{
    return expected == part::head ? check_head(now) : check_body(now, unread);
}

std::optional<sending_pace::clock::time_point> sending_pace::check_head(clock::time_point now)
{
    if (settings_->head_timeout.count() == 0) {
        return clock::time_point::max();
    }
    if (!head_due_) {
        head_due_ = now + settings_->head_timeout;
    }
    return now < *head_due_ ? head_due_ : std::nullopt;
}

std::optional<sending_pace::clock::time_point> sending_pace::check_body(clock::time_point now,
                                                                        const std::function<std::size_t()>& unread)
{
    const auto period = settings_->rate_period;
    if (settings_->min_rate == 0 || period.count() == 0) {
        return clock::time_point::max();
    }
    if (period_end_ && now >= *period_end_) {
        const auto milliseconds = static_cast<std::uint64_t>(period.count());
        if (bytes_ + unread() < settings_->min_rate * milliseconds / std::chrono::milliseconds::period::den) {
            return std::nullopt;
        }
        period_end_.reset();
    }
    if (!period_end_) {
        period_end_ = now + period;
        bytes_ = 0;
    }
    return period_end_;
}

} // namespace service
