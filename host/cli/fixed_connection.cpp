#include "host/cli/fixed_connection.h"

#include "logging/logging.h"
#include "tool/icap_client/session_manager.h"
#include "tool/system/conversions.h"

#include <exception>
#include <string>
#include <utility>

namespace host {

namespace {

constexpr const wchar_t* service_address = L"127.0.0.1";

std::shared_ptr<const fixed_connection::settings> make_settings(std::uint16_t port, const std::wstring& uri)
{
    auto result = std::make_shared<fixed_connection::settings>();
    result->ServerPort.value = port;
    result->ServerPort.isSet = true;
    result->Uri.value = uri;
    result->Uri.isSet = true;
    return result;
}

} // namespace

fixed_connection::fixed_connection(std::uint16_t port, const std::wstring& uri)
    : settings_(make_settings(port, uri))
{}

void fixed_connection::Start() {}

void fixed_connection::Stop()
{
    std::shared_ptr<icap::client::session_pool> last;
    {
        const std::lock_guard guard(lock_);
        last = std::exchange(pool_, nullptr);
    }
    connected_ = false;
    if (last) {
        last->terminate();
    }
}

std::shared_ptr<const fixed_connection::settings> fixed_connection::GetSettings()
{
    return settings_;
}

std::shared_ptr<icap::client::session_pool> fixed_connection::GetSessionManager()
{
    const std::lock_guard guard(lock_);
    return pool_;
}

bool fixed_connection::IsConnected() const
{
    return connected_;
}

void fixed_connection::ForceConnection(bool)
{
    if (!GetSessionManager()) {
        create_pool();
    }
}

void fixed_connection::create_pool()
{
    const std::uint32_t port = settings_->ServerPort.Effective();
    const std::wstring& uri = settings_->Uri.Effective();
    try {
        LOG_LINE(logging::outlook_log(), 500,
                 "Create new scan session manager: address='" << winapi::conv_to_char(service_address)
                                                              << "', port=" << port << ", uri='/"
                                                              << winapi::conv_to_char(uri) << "'");
        auto made = std::make_shared<icap::client::session_manager>(
            icap::client::session_manager_parameters{service_address, port, L'/' + uri});
        LOG_LINE(logging::outlook_log(), 500, "Scan session manager has been created");
        const std::lock_guard guard(lock_);
        pool_ = std::move(made);
        connected_ = true;
    } catch (const std::exception& failure) { // no service: the check goes on without
        LOG_LINE(logging::outlook_log(), 200, "Create scan session manager failed: " << failure.what());
        refused_ = true;
        const std::lock_guard guard(lock_);
        pool_ = nullptr;
        connected_ = false;
    }
}

void fixed_connection::LoadSettings() {}

void fixed_connection::BreakConnection()
{
    connected_ = false;
    const std::lock_guard guard(lock_);
    pool_ = nullptr;
}

} // namespace host
