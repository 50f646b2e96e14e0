#include "tool/icap_client/session_manager.h"

#include "logging/logging.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/thread.h"
#include "tool/icap_client/request_templates.h"
#include "tool/icap_client/session_impl.h"
#include "tool/system/conversions.h"
#include "tool/system/errors.h"

#include <stdexcept>
#include <utility>

namespace icap::client {

namespace {

constexpr std::size_t channel_threads = 4;
constexpr std::uint32_t channel_concurrency = 1;

web::socket_address address_of(const std::wstring& text)
{
    web::socket_address address;
    if (const std::uint32_t code = web::string_to_address(text, address); code != 0) {
        LOG_LINE(logging::icapclnt_log(), 200,
                 "create new session failed: could not convert '" << winapi::conv_to_char(text) << "'");
        throw error::win32exception(code, "tool\\icap_client\\session_manager", __LINE__);
    }
    return address;
}

} // namespace

session_manager::session_manager(session_manager_parameters parameters, std::uint32_t initial_sessions,
                                 const session_timing& timing, const winapi::time_source& clock)
    : session_manager(
          std::move(parameters), initial_sessions,
          [timing, &clock](const session_target& target, tpl::channel& channel) -> std::shared_ptr<session> {
              return std::make_shared<session_impl>(target, channel, timing, clock);
          },
          timing)
{}

session_manager::session_manager(session_manager_parameters parameters, std::uint32_t initial_sessions,
                                 session_opener opener, const session_timing& timing)
    : address_(std::move(parameters.address))
    , port_(parameters.port)
    , uri_(std::move(parameters.uri))
    , channel_(std::make_unique<tpl::channel>(channel_threads, channel_concurrency))
    , opener_(std::move(opener))
    , timing_(timing)
{
    for (std::uint32_t count = 0; count < initial_sessions; ++count) {
        active_.push_back(create_session());
    }
}

session_manager::~session_manager()
{
    if (!is_terminating()) {
        terminate();
    }
}

std::shared_ptr<session> session_manager::create_session()
{
    LOG_LINE(logging::icapclnt_log(), 500, "create new session: begin");
    session_target target;
    target.address = address_of(address_ + L":" + std::to_wstring(port_));
    target.uri = make_target(address_, port_, uri_);
    LOG_LINE(logging::icapclnt_log(), 500, "create new session: '" << winapi::conv_to_char(target.uri) << "'");
    auto created = opener_(target, *channel_);
    {
        const std::lock_guard guard(lock_);
        if (auto* const real = dynamic_cast<session_impl*>(created.get())) {
            real->set_istag_notifier(istag_notifier_);
            real->set_heard_istag(heard_istag_);
        }
    }
    LOG_LINE(logging::icapclnt_log(), 500, "create new session(" << created.get() << "): end");
    return created;
}

namespace {

/// Gives the connections of invalid sessions back to the system. Not called under the pool's lock, because it waits for
/// callbacks that are running. Failures are not those of the query: what is left is given back at the destruction.
void let_go(std::vector<std::shared_ptr<session_impl>>& ended) noexcept
{
    try {
        std::erase_if(ended, [](const auto& one) { return !one->let_go(); });
        for (const auto& one : ended) {
            one->end_waiting();
        }
    } catch (const std::exception&) {
        return;
    }
}

} // namespace

std::shared_ptr<session> session_manager::query_session()
{
    std::vector<std::shared_ptr<session_impl>> ended;
    auto found = find_valid(ended);
    let_go(ended);
    return found ? found : create_session();
}

/// Takes the first valid session out of the list; null if there is none. `ended` receives the invalid ones ahead of it
/// that still hold a connection.
std::shared_ptr<session> session_manager::find_valid(std::vector<std::shared_ptr<session_impl>>& ended)
{
    const std::lock_guard guard(lock_);
    if (terminating_) {
        LOG_LINE(logging::icapclnt_log(), 200, "query session failed: session manager is terminating");
        throw std::runtime_error("query session: session manager already terminated");
    }
    if (active_.empty()) {
        return nullptr;
    }
    LOG_LINE(logging::icapclnt_log(), 500, "active sessions = " << active_.size());
    // Bad sessions are skipped and remain: only terminate() removes them.
    for (auto candidate = active_.begin(); candidate != active_.end(); ++candidate) {
        if (!(*candidate)->is_invalid()) {
            auto found = std::move(*candidate);
            active_.erase(candidate);
            LOG_LINE(logging::icapclnt_log(), 500,
                     "query session(" << found.get() << ") from " << active_.size() << " sessons");
            return found;
        }
        if (auto* const real = dynamic_cast<session_impl*>(candidate->get()); real && real->holds_connection()) {
            ended.emplace_back(*candidate, real);
        }
    }
    return nullptr;
}

void session_manager::release_session(std::shared_ptr<session> returned)
{
    if (is_terminating()) {
        throw std::runtime_error("release session: session manager already terminated");
    }
    if (returned->is_invalid()) {
        LOG_LINE(logging::icapclnt_log(), 500,
                 "release invalid session(" << returned.get() << ") and wait when socket will be closed");
        returned->close();
        // The outstanding read still refers to the session. It completes on the channel, unless the pool was terminated
        // meanwhile; no completion is delivered after that.
        while (!returned->is_closed() && !is_terminating()) {
            tpl::sleep_ex(timing_.release_poll, true);
        }
        LOG_LINE(logging::icapclnt_log(), 500, "invalid session(" << returned.get() << ") has been release");
        return;
    }
    const std::lock_guard guard(lock_);
    active_.push_back(returned);
    LOG_LINE(logging::icapclnt_log(), 500, "return session(" << returned.get() << ") to active sessions");
}

void session_manager::terminate()
{
    const std::lock_guard guard(lock_);
    terminating_ = true;
    for (const auto& idle : active_) {
        try {
            if (!idle->is_invalid()) {
                idle->close();
            }
        } catch (const std::exception&) {
            continue; // it closes its socket when it is destroyed below
        }
    }
    channel_->stop();
    active_.clear();
}

void session_manager::set_istag_notifier(icap::client::istag_notifier* notifier)
{
    const std::lock_guard guard(lock_);
    istag_notifier_ = notifier;
}

bool session_manager::is_terminating() const
{
    const std::lock_guard guard(lock_);
    return terminating_;
}

} // namespace icap::client
