#pragma once

#include "tool/icap_client/heard_istag.h"
#include "tool/icap_client/istag_notifier.h"
#include "tool/icap_client/session_pool.h"
#include "tool/icap_client/session_timing.h"
#include "tool/system/clock.h"

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tpl {
class channel;
} // namespace tpl

namespace icap::client {

struct session_target;
class session_impl;

/// Specifies the service that the sessions connect to.
struct session_manager_parameters
{
    std::wstring address; ///< IPv4 address as text
    std::uint32_t port = 0;
    std::wstring uri; ///< path of the service, beginning with "/"
};

/// The sessions to one service. They are made on demand, and each is used by one user at a time, first in first out.
/// There is no upper limit and nothing expires: a session exists until it fails, its peer closes it, or the pool ends.
/// Always owned by a shared pointer. Thread-safe for queries and releases.
class session_manager final : public session_pool
{
public:
    /// Makes a session; a test supplies its own.
    using session_opener = std::function<std::shared_ptr<session>(const session_target& target, tpl::channel& channel)>;

    /// Connects `initial_sessions` sessions at once, so it throws if the service cannot be reached.
    explicit session_manager(session_manager_parameters parameters, std::uint32_t initial_sessions = 1,
                             const session_timing& timing = {},
                             const winapi::time_source& clock = winapi::system_time_source());
    /// As above, with sessions that `opener` makes.
    session_manager(session_manager_parameters parameters, std::uint32_t initial_sessions, session_opener opener,
                    const session_timing& timing = {});
    session_manager(const session_manager&) = delete;
    session_manager& operator=(const session_manager&) = delete;
    ~session_manager() override;

    /// Returns a new, connected session that is not in any list yet. Blocks while it connects; throws if it cannot
    /// connect.
    [[nodiscard]] std::shared_ptr<session> create_session();
    /// Returns the session that has been idle longest, or a new one. Invalid ones remain in the list, but give their
    /// connections back to the system. Throws std::runtime_error after terminate(), and
    /// what create_session() throws.
    std::shared_ptr<session> query_session() override;
    /// Takes a session back. An invalid one is closed, and the call waits until that is complete. Throws
    /// std::runtime_error after terminate().
    void release_session(std::shared_ptr<session> returned) override;
    /// Closes and drops all idle sessions and stops the channel. The pool cannot be used again.
    void terminate() override;
    [[nodiscard]] std::string istag() const override { return heard_istag_->get(); }
    /// Sets the object that new sessions notify of a changed ISTag; not owned, may be null.
    void set_istag_notifier(istag_notifier* notifier);
    [[nodiscard]] bool is_terminating() const;

private:
    [[nodiscard]] std::shared_ptr<session> find_valid(std::vector<std::shared_ptr<session_impl>>& ended);

    std::wstring address_;
    std::uint32_t port_;
    std::wstring uri_;
    bool terminating_ = false; ///< under lock_
    std::unique_ptr<tpl::channel> channel_;
    mutable std::recursive_mutex lock_;
    std::list<std::shared_ptr<session>> active_;             ///< idle sessions, longest idle first; under lock_
    icap::client::istag_notifier* istag_notifier_ = nullptr; ///< under lock_
    std::shared_ptr<heard_istag> heard_istag_ = std::make_shared<heard_istag>(); ///< shared with the sessions
    session_opener opener_;
    session_timing timing_;
};

} // namespace icap::client
