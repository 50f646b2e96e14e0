#pragma once

#include "outlook/qdmailprotect/link/connection_source.h"
#include "tool/icap_client/session_pool.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A scan client with given answers.
namespace test {

/// Creates a scanner's reply with `html` as the body of its HTTP response, using the real analyzer.
std::shared_ptr<icap::response_message> reply_with(const std::string& html);
/// Creates a reply with an HTTP request, as a service sends it if it changed the object.
std::shared_ptr<icap::response_message> reply_with_request(const std::string& contents);
/// Creates a reply without an encapsulated message.
std::shared_ptr<icap::response_message> reply_without_contents();

/// The request of one scan.
struct scan_record
{
    icap::client::scan_mail parameters; ///< without its data
    std::string data;                   ///< all bytes of the object, read through its io_data
};

/// The outcome of one scan, lease or return.
struct scan_answer
{
    ScanResult result = ScanResult::Clean;
    std::shared_ptr<icap::response_message> response;
    bool raises = false; ///< throws a std::runtime_error instead of returning a result
};

/// A pool of one session. Each lease returns the session; the answers are used in order, and afterwards all objects are
/// clean.
class scripted_pool final : public icap::client::session_pool
{
public:
    std::deque<scan_answer> answers;
    std::vector<scan_record> scans;
    std::string signatures; ///< the ISTag
    bool query_raises = false;
    bool release_raises = false;
    int leased = 0; ///< sessions currently leased
    int queries = 0;
    int releases = 0;

    std::shared_ptr<icap::client::session> query_session() override;
    void release_session(std::shared_ptr<icap::client::session> returned) override;
    void terminate() override {}
    [[nodiscard]] std::string istag() const override { return signatures; }
};

/// A link whose state is set by the test. Records its calls, also as lines of the logger "wpx", so that their order
/// among the log lines is visible.
class scripted_link final : public ConnectionSource
{
public:
    std::shared_ptr<DOVA::Settings::WebTrafficMonitorSettings> settings =
        std::make_shared<DOVA::Settings::WebTrafficMonitorSettings>();
    std::shared_ptr<scripted_pool> pool = std::make_shared<scripted_pool>();
    bool connected = true;
    int settings_reads = 0;
    std::function<void()> on_load;
    std::function<void(bool now)> on_force;
    std::function<void()> on_get_settings;
    std::vector<std::string> calls;

    void Start() override { note("Start"); }
    void Stop() override { note("Stop"); }
    std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() override;
    std::shared_ptr<icap::client::session_pool> GetSessionManager() override { return pool; }
    bool IsConnected() const override { return connected; }
    void ForceConnection(bool now) override;
    void LoadSettings() override;
    void BreakConnection() override;

private:
    void note(const std::string& call);
};

} // namespace test
