#pragma once

#include "client/model/addin.h"
#include "client/model/outlook_client.h"
#include "client/model/trace_listener.h"
#include "service/scan_server.h"
#include "store/message_record.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace host::test {

/// Runs the built module in this process as its client: the module is found by its registration, connected, and learns
/// from the broker of this process where the service is. Only this process's own registry is changed. At the end of
/// each test no object that was passed to the add-in is alive.
class live_addin : public testing::Test
{
protected:
    live_addin();
    ~live_addin() override;
    live_addin(const live_addin&) = delete;
    live_addin& operator=(const live_addin&) = delete;

    void SetUp() override;
    void TearDown() override;

    /// Connects the add-in to a client of that version and notifies it that the client has started. Throws
    /// addin_failure.
    void connect(const std::wstring& version = L"16.0.4266.1001");
    void disconnect();
    /// Ends the process as the client's fast shutdown does, without notifying the add-in.
    [[noreturn]] static void end_process(unsigned status);
    /// Starts a new service on a free port. The broker reports this port from then on.
    service::scan_server& start_service();
    /// Sets the port that the broker reports.
    void tell_port(std::uint16_t port) { port_ = port; }
    /// Opens and closes a message.
    opening open(const std::shared_ptr<message_record>& stored) { return client_->open(stored); }
    [[nodiscard]] application& program() { return *program_; }

    /// Returns the lines that the add-in has logged since the last call, as "400 outlook text".
    std::vector<std::string> take_lines();
    /// Returns those of the lines that have one level and logger.
    static std::vector<std::string> only(const std::vector<std::string>& lines, const std::string& beginning);

private:
    void hear(std::string_view line);

    std::atomic<std::uint16_t> port_{0};
    std::mutex lock_;
    std::vector<std::string> lines_; ///< guarded by lock_
    check_outcome outcome_;
    std::unique_ptr<trace_listener> listener_;
    std::vector<std::unique_ptr<service::scan_server>> services_;
    ComPtr<application> program_;
    std::unique_ptr<connected_addin> addin_;
    std::unique_ptr<outlook_client> client_;
};

/// Returns a plain message with a body and a unique identifier.
std::shared_ptr<message_record> plain_message(const std::string& body);
/// Returns a body that the built-in engine condemns.
std::string condemned_text();
/// Adds a file.
void attach(message_record& message, const std::wstring& name, const std::string& contents);

/// Returns true while the module is in use and cannot be unloaded.
bool module_in_use();

} // namespace host::test
