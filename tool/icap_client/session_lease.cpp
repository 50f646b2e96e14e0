#include "tool/icap_client/session_pool.h"

namespace icap::client {

session_lease::~session_lease() noexcept(false)
{
    try {
        pool_->release_session(session_);
    } catch (...) {
        if (std::uncaught_exceptions() <= exceptions_) {
            throw;
        }
    }
}

} // namespace icap::client
