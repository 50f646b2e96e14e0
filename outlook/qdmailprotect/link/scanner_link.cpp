#include "outlook/qdmailprotect/link/scanner_link.h"

#include "logging/logging.h"
#include "tool/icap_client/session_manager.h"
#include "tool/system/conversions.h"

#include <exception>
#include <utility>

namespace {

std::unique_ptr<TimerQueue> GivenOrSystem(std::unique_ptr<TimerQueue> timers)
{
    return timers ? std::move(timers) : NewTimerQueue();
}

} // namespace

std::shared_ptr<icap::client::session_pool> NewSessionManager(const ServerInfo& server)
{
    return std::make_shared<icap::client::session_manager>(
        icap::client::session_manager_parameters{server.address, server.port, server.uri});
}

ScannerLink::ScannerLink(ScannerLinkServices services)
    : broker_(std::move(services.broker))
    , presence_(services.presence ? std::move(services.presence) : NewPresenceProbe())
    , newManager_(services.newManager ? std::move(services.newManager) : NewSessionManager)
    , clock_(services.clock ? *services.clock : winapi::system_time_source())
    , timerQueue_(GivenOrSystem(std::move(services.timers)))
    , timer_(*timerQueue_, [this] { OnTimer(); })
{}

ScannerLink::~ScannerLink()
{
    timer_.Disarm(); // its function uses members declared after the timer
}

void ScannerLink::Start()
{
    lastHealthTick_ = clock_.tick_count();
    timer_.Arm();
}

void ScannerLink::Stop()
{
    timer_.Disarm();
    if (const auto manager = GetSessionManager()) {
        manager->terminate();
    }
    connected_ = false;
    InstallManager(nullptr, false);
}

std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> ScannerLink::GetSettings()
{
    const std::lock_guard guard(lock_);
    return settings_;
}

std::shared_ptr<icap::client::session_pool> ScannerLink::GetSessionManager()
{
    if (!managerIsSet_) {
        return nullptr;
    }
    const std::lock_guard guard(lock_);
    return sessionManager_;
}

std::shared_ptr<icap::client::session_pool> ScannerLink::InstallManager(std::shared_ptr<Pool> manager, bool connect)
{
    const std::lock_guard guard(lock_);
    managerIsSet_ = manager != nullptr;
    sessionManager_.swap(manager);
    if (connect) {
        connected_ = true;
    }
    return manager;
}

void ScannerLink::ForceConnection(bool now)
{
    if (now) {
        CheckHealth();
    } else {
        connectRequested_ = 1;
    }
}

void ScannerLink::BreakConnection()
{
    connected_ = false;
    InstallManager(nullptr, false);
}

void ScannerLink::OnTimer()
{
    const std::uint32_t now = clock_.tick_count();
    if (connectRequested_ == 0 && now - lastHealthTick_ <= HealthPeriod) { // wraps with the tick count
        return;
    }
    lastHealthTick_ = now;
    CheckHealth();
    if (connected_) {
        connectRequested_ = 0;
    }
}

void ScannerLink::CheckHealth()
{
    LOG_LINE(logging::outlook_log(), 500, "Check ICAP server health...");
    try {
        if (const auto manager = CreateSessionManager()) {
            const icap::client::session_lease lease(manager);
            icap::client::scan_health question;
            question.user_name = "S-1-1-0";
            question.health = "Is scanner available?";
            question.timeout = HealthTimeout;
            lease->scan(question); // the service is healthy if a session was obtained and nothing was thrown
            FollowServer();
        }
    } catch (const std::exception& failure) {
        connected_ = false;
        InstallManager(nullptr, false);
        LOG_LINE(logging::outlook_log(), 200, "Scan server is unavailable" << failure.what());
    }
    LoadSettings();
}

std::shared_ptr<icap::client::session_pool> ScannerLink::CreateSessionManager()
{
    try {
        if (auto present = GetSessionManager()) {
            return present;
        }
        const auto settings = GetSettings();
        LOG_LINE(logging::outlook_log(), 500,
                 "Create new scan session manager: "
                     << "address='" << winapi::conv_to_char(ServerInfo::Loopback)
                     << "', port=" << settings->ServerPort.Effective() << ", uri='/"
                     << winapi::conv_to_char(settings->Uri.Effective()) << "'");
        auto made = newManager_(ComposeServerInfo(*settings));
        LOG_LINE(logging::outlook_log(), 500, "Scan session manager has been created");
        InstallManager(made, true);
        return made;
    } catch (const std::exception& failure) {
        InstallManager(nullptr, false);
        LOG_LINE(logging::outlook_log(), 200, "Create scan session manager failed: " << failure.what());
        connected_ = false;
        return nullptr;
    }
}

ServerInfo ScannerLink::ComposeServerInfo(const Settings& settings)
{
    return {ServerInfo::Loopback, settings.ServerPort.Effective(), L'/' + settings.Uri.Effective()};
}

void ScannerLink::FollowServer()
{
    std::shared_ptr<Pool> ended; // outlives the guard
    const std::lock_guard guard(lock_);
    ended = CompareServerInfo(ComposeServerInfo(*settings_), "Server info has changed, breaking connection");
}

std::shared_ptr<icap::client::session_pool> ScannerLink::CompareServerInfo(ServerInfo composed, const char* changeText)
{
    std::shared_ptr<Pool> ended;
    if (std::exchange(firstInfo_, false)) {
        serverInfo_ = std::move(composed);
    } else if (composed != serverInfo_) {
        LOG_LINE(logging::outlook_log(), 400, changeText);
        serverInfo_ = std::move(composed);
        ended = sessionManager_;
        BreakConnection();
    }
    return ended;
}
