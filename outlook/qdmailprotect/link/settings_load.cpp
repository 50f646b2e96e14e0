#include "logging/logging.h"
#include "outlook/qdmailprotect/link/scanner_link.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "settings/settings_blob.h"
#include "tool/system/conversions.h"

#include <exception>
#include <utility>

void ScannerLink::LoadSettings()
{
    if (IsServicePresent()) { // the broker is used only while the service is absent
        LOG_LINE(logging::outlook_log(), 400, "Skipping the settings request from product");
        return;
    }
    LOG_LINE(logging::outlook_log(), 500, "Trying to load new settings");
    std::unique_ptr<SettingsBroker::Visit> visit; // destroyed after its failure has been handled
    try {
        visit = broker_->Begin();
        visit->Connect();
        LOG_LINE(logging::outlook_log(), 500, "Connection to broker created, loading settings...");
        const SettingsBroker::Bytes bytes = visit->Load();
        auto loaded = std::make_shared<const Settings>(DOVA::Settings::SettingsFromBlob(bytes));
        LOG_LINE(logging::outlook_log(), 500, "Product settings loaded");
        AcceptSettings(std::move(loaded));
    } catch (const ComError& failure) {
        LOG_LINE(logging::outlook_log(), 200, "Load settings failed: hr=0x" << HexResult(failure.Error()));
    } catch (const std::exception& failure) {
        LOG_LINE(logging::outlook_log(), 200, "Load settings failed: " << failure.what());
    }
}

void ScannerLink::AcceptSettings(std::shared_ptr<const Settings> loaded)
{
    std::shared_ptr<Pool> ended; // outlives the guard
    const std::lock_guard guard(lock_);
    if (*loaded != *settings_) {
        LOG_LINE(logging::outlook_log(), 500,
                 "New settings loaded:\r\n"
                     << "server: 127.0.0.1, "
                     << "port: " << loaded->ServerPort.Effective() << ", "
                     << "uri: '/" << winapi::conv_to_char(loaded->Uri.Effective()) << "',\r\n"
                     << "use plugin: " << loaded->UseOutlookPlugin.Effective() << ", "
                     << "block exec: " << loaded->BlockExecInAttach.Effective() << "\r\n");
    }
    settings_ = std::move(loaded);
    ended = CompareServerInfo(ComposeServerInfo(*settings_), "Connection settings have changed, breaking connection");
}
