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

/// How long the desk below waits for any answer, in milliseconds.
inline constexpr std::uint32_t patience = 300;

/// A link to one port that connects when asked, as the mail client's does, but waits for `patience` only: for the
/// answer to OPTIONS, and for that to a scan, whatever the record says.
class impatient_link final : public ConnectionSource
{
public:
    explicit impatient_link(std::uint16_t port);

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
    std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> settings_;
    std::shared_ptr<icap::client::session_pool> pool_;
    std::size_t breaks_ = 0;
};

/// Somebody who reads mail: the whole logic over a link, which it starts and stops.
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

    /// Opens a message given as MIME text, unsaved: what the check puts on it is gone when it is closed. Messages of
    /// the same text and origin have the same entry identifier; without an origin each is another one.
    host::opening open(const std::string& text, const std::string& origin = {});
    /// Reads a message given as MIME text into the store of this desk.
    std::shared_ptr<host::message_record> receive(const std::string& text, const std::string& origin = {});
    /// Opens a message of the store; what is saved reaches it.
    host::opening open(const std::shared_ptr<host::message_record>& stored) { return client_->open(stored); }
    /// Opens the message as a former opening has left it.
    host::opening reopen(const host::opening& former);
    /// The link of a desk at a port.
    [[nodiscard]] impatient_link& link() noexcept { return *link_; }

private:
    desk(const std::shared_ptr<impatient_link>& link, std::shared_ptr<const host::smime_identity> identity);

    std::shared_ptr<host::store_context> store_ = std::make_shared<host::store_context>();
    std::shared_ptr<impatient_link> link_;
    std::shared_ptr<MailChecker> checker_;
    std::unique_ptr<host::mail_client> client_;
    int opened_ = 0;
};

/// A plain message without attachments.
std::string plain_mail(std::string_view body, std::string_view message_id = "<1@example.org>");

/// A message with one attachment of that content.
std::string mail_with_attachment(std::string_view body, std::string_view file_name, std::string_view content);

/// The standard antivirus test file, put together where it is needed.
std::string antivirus_test_file();

} // namespace test
