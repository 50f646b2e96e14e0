#pragma once

#include "desk/cli/mail_client.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/link/connection_source.h"
#include "tests/end_to_end/impatient_pool.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace test {

/// How long the desk below waits for any response, in milliseconds.
inline constexpr std::uint32_t patience = 300;

/// A link to one port that connects on request, as the mail client's link does, but waits only a given time, in
/// milliseconds, for the response to OPTIONS and for that to a scan, regardless of the settings record.
class impatient_link final : public ConnectionSource
{
public:
    explicit impatient_link(std::uint16_t port, std::uint32_t limit = patience);

    void Start() override {}
    void Stop() override;
    std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() override { return settings_; }
    std::shared_ptr<icap::client::session_pool> GetSessionManager() override { return pool_; }
    bool IsConnected() const override { return pool_ != nullptr; }
    void ForceConnection(bool now) override;
    void LoadSettings() override {}
    void BreakConnection() override;

    [[nodiscard]] std::size_t breaks() const noexcept { return breaks_; }

private:
    std::uint16_t port_;
    std::uint32_t limit_;
    std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> settings_;
    std::shared_ptr<icap::client::session_pool> pool_;
    std::size_t breaks_ = 0;
};

/// The environment of one reader: the whole logic with a link, which the object starts and stops.
class desk
{
public:
    /// `identity` is the reader's own, for encrypted mail.
    explicit desk(std::uint16_t port, std::shared_ptr<const host::smime_identity> identity = nullptr);
    explicit desk(std::shared_ptr<ConnectionSource> link,
                  std::shared_ptr<const host::smime_identity> identity = nullptr);
    desk(const desk&) = delete;
    desk& operator=(const desk&) = delete;
    ~desk();

    /// Opens a message given as MIME text. It is not saved: changes by the check are lost when it is closed. Messages
    /// with the same text and origin have the same entry identifier; without an origin each has a different one.
    host::opening open(const std::string& text, const std::string& origin = {});
    /// Reads a message given as MIME text into the store of this desk.
    std::shared_ptr<host::message_record> receive(const std::string& text, const std::string& origin = {});
    /// Opens a message of the store. Saved changes reach it.
    host::opening open(const std::shared_ptr<host::message_record>& stored) { return client_->open(stored); }
    /// Opens the message as a previous opening has left it.
    host::opening reopen(const host::opening& former);
    /// Returns the link of this desk.
    [[nodiscard]] impatient_link& link() noexcept { return *link_; }

private:
    desk(const std::shared_ptr<impatient_link>& link, std::shared_ptr<const host::smime_identity> identity);

    std::shared_ptr<host::store_context> store_ = std::make_shared<host::store_context>();
    std::shared_ptr<impatient_link> link_;
    std::shared_ptr<MailChecker> checker_;
    std::unique_ptr<host::mail_client> client_;
    int opened_ = 0;
};

/// Returns a plain message without attachments.
std::string plain_mail(std::string_view body, std::string_view message_id = "<1@example.org>");

/// Returns a message with one attachment of that content.
std::string mail_with_attachment(std::string_view body, std::string_view file_name, std::string_view content);

/// Returns the standard antivirus test file, assembled at run time.
std::string antivirus_test_file();

} // namespace test
