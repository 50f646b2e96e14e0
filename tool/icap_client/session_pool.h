#pragma once

#include "tool/icap_client/session.h"

#include <exception>
#include <memory>
#include <string>
#include <utility>

namespace icap::client {

/// Supplies sessions. session_manager is the product's implementation; tests supply their own.
class session_pool
{
public:
    /// Returns a session for exclusive use. Throws if none is available.
    virtual std::shared_ptr<session> query_session() = 0;
    /// Takes a session back.
    virtual void release_session(std::shared_ptr<session> returned) = 0;
    /// Ends the pool; later queries and releases throw.
    virtual void terminate() = 0;
    /// Returns the ISTag that the sessions heard last; empty if there is none, or if the pool does not record it.
    [[nodiscard]] virtual std::string istag() const { return {}; }
    virtual ~session_pool() = default;
};

/// Holds one session for one user and returns it when the scope ends. The destructor may throw what release_session()
/// throws, because the pool may have been terminated meanwhile. If another exception is leaving the scope, that one
/// continues and the pool's is dropped.
class session_lease
{
public:
    explicit session_lease(std::shared_ptr<session_pool> pool)
        : pool_(std::move(pool))
        , session_(pool_->query_session())
    {}
    session_lease(const session_lease&) = delete;
    session_lease& operator=(const session_lease&) = delete;
    ~session_lease() noexcept(false);

    session& operator*() const noexcept { return *session_; }
    session* operator->() const noexcept { return session_.get(); }

private:
    std::shared_ptr<session_pool> pool_;
    std::shared_ptr<session> session_;
    int exceptions_ = std::uncaught_exceptions(); ///< number in flight when the lease began
};

} // namespace icap::client
