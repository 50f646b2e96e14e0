#include "desk/cli/service_link.h"

#include "desk/settings/bytes_broker.h"
#include "desk/settings/settings_file.h"
#include "tool/icap_client/session_manager.h"

#include <functional>
#include <utility>

namespace host {

namespace {

/// Reports that no product service is running, so that the settings of the command are used.
class no_presence final : public PresenceProbe
{
public:
    [[nodiscard]] bool IsServicePresent() const override { return false; }
};

} // namespace

service_link::service_link(std::uint16_t port, const std::wstring& uri)
    : service_link([bytes = settings_bytes_of_service(port, uri)] { return bytes; }, std::make_shared<no_presence>())
{}

service_link::service_link(std::filesystem::path settings_file)
    : service_link([file = std::move(settings_file)] { return load_settings_bytes(file); }, nullptr)
{}

service_link::service_link(std::function<SettingsBroker::Bytes()> settings,
                           std::shared_ptr<const PresenceProbe> presence)
{
    ScannerLinkServices services;
    services.broker = std::make_shared<BytesBroker>(std::move(settings));
    services.presence = std::move(presence);
    services.newManager = [refused = refused_](const ServerInfo& server) {
        try {
            return NewSessionManager(server);
        } catch (...) {
            *refused = true;
            throw;
        }
    };
    link_ = std::make_shared<ScannerLink>(std::move(services));
}

} // namespace host
