#pragma once

#include "tool/icap_client/session.h"

#include <exception>
#include <memory>
#include <utility>

namespace icap::client {

/// Where sessions come from: session_manager is the real one, tests bring their own.
class session_pool
{
public:
    /// A session for exclusive use. Raises when none can be had.
    virtual std::shared_ptr<session> query_session() = 0;
    /// Takes a session back.
    virtual void release_session(std::shared_ptr<session> returned) = 0;
    /// Ends the pool; later queries and releases raise.
    virtual void terminate() = 0;
    virtual ~session_pool() = default;
};

/// Holds one session for one user and returns it when the scope ends. The destructor may raise what
/// release_session raises, as the pool may have been terminated meanwhile; while the scope is left by another
/// exception, that one goes on and the pool's is dropped.
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
    int exceptions_ = std::uncaught_exceptions(); ///< in flight when the lease began
};

} // namespace icap::client
