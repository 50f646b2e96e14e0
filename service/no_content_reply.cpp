#include "service/no_content_reply.h"

namespace service {

no_content_reply::bytes no_content_reply::get(const std::string& istag, const std::function<std::string()>& make,
                                              clock::time_point now)
{
    const auto second = std::chrono::floor<std::chrono::seconds>(now.time_since_epoch());
    const std::lock_guard guard(lock_);
    if (!known_ || second != second_ || istag != istag_) {
        known_ = std::make_shared<const std::string>(make());
        istag_ = istag;
        second_ = second;
    }
    return known_;
}

} // namespace service
