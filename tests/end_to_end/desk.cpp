#include "tests/end_to_end/desk.h"

#include "host/mime/message_reader.h"
#include "host/store/bytes.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"

#include <utility>

namespace test {

namespace {

using icap::client::session;

/// Runs every scan with the patience of a test.
class impatient_session final : public session
{
public:
    explicit impatient_session(std::shared_ptr<session> real)
        : real_(std::move(real))
    {}
    ScanResult scan(const icap::client::scan_mail& parameters, answer_ptr& answer) override
    {
        return real_->scan(hasty(parameters), answer);
    }
    ScanResult scan(const icap::client::scan_health& parameters) override { return real_->scan(hasty(parameters)); }
    ScanResult scan(const icap::client::scan_certificate& parameters) override
    {
        return real_->scan(hasty(parameters));
    }
    ScanResult scan(const icap::client::scan_http_response& parameters, answer_ptr& answer) override
    {
        return real_->scan(hasty(parameters), answer);
    }
    ScanResult scan(const icap::client::scan_http_request& parameters, answer_ptr& answer) override
    {
        return real_->scan(hasty(parameters), answer);
    }
    ScanResult scan(const icap::client::scan_object& parameters) override { return real_->scan(hasty(parameters)); }
    bool is_invalid() override { return real_->is_invalid(); }
    std::uint32_t idle() override { return real_->idle(); }
    void close() override { real_->close(); }
    bool is_closed() override { return real_->is_closed(); }

    [[nodiscard]] std::shared_ptr<session> release() { return std::move(real_); }

private:
    template <typename Record>
    static Record hasty(Record record)
    {
        record.timeout = patience;
        return record;
    }
    std::shared_ptr<session> real_;
};

class impatient_pool final : public icap::client::session_pool
{
public:
    explicit impatient_pool(std::shared_ptr<icap::client::session_pool> real)
        : real_(std::move(real))
    {}
    std::shared_ptr<session> query_session() override
    {
        return std::make_shared<impatient_session>(real_->query_session());
    }
    void release_session(std::shared_ptr<session> returned) override
    {
        real_->release_session(std::static_pointer_cast<impatient_session>(returned)->release());
    }
    void terminate() override { real_->terminate(); }

private:
    std::shared_ptr<icap::client::session_pool> real_;
};

} // namespace

impatient_link::impatient_link(std::uint16_t port)
    : port_(port)
    , settings_(std::make_shared<DOVA::Settings::WebTrafficMonitorSettings>())
{}

void impatient_link::Stop()
{
    if (pool_) {
        pool_->terminate();
    }
    pool_.reset();
}

void impatient_link::ForceConnection(bool)
{
    icap::client::session_timing timing;
    timing.options_answer = patience;
    timing.release_poll = 1;
    try {
        pool_ = std::make_shared<impatient_pool>(std::make_shared<icap::client::session_manager>(
            icap::client::session_manager_parameters{L"127.0.0.1", port_, L"/webscan"}, 1U, timing));
    } catch (const std::exception&) {
        pool_.reset();
    }
}

void impatient_link::BreakConnection()
{
    ++breaks_;
    pool_.reset();
}

desk::desk(std::uint16_t port, std::shared_ptr<const host::smime_identity> identity)
    : link_(std::make_shared<impatient_link>(port))
{
    MailCheckerServices services;
    services.link = link_;
    services.disinfector = MakeMailDisinfector();
    checker_ = std::make_shared<MailChecker>(std::move(services));
    checker_->Init(false, 4711, "/usr/bin/mail-client", "S-1-5-21-0-0-0-1000");
    client_ = std::make_unique<host::mail_client>(checker_, std::move(identity));
}

desk::~desk()
{
    client_.reset();
    checker_->Close();
}

std::shared_ptr<host::message_record> desk::receive(const std::string& text, const std::string& origin)
{
    const std::string place = origin.empty() ? "message " + std::to_string(++opened_) : origin;
    return std::make_shared<host::message_record>(host::read_message(host::bytes_of(text), place, store_));
}

host::opening desk::open(const std::string& text, const std::string& origin)
{
    return client_->open(receive(text, origin));
}

host::opening desk::reopen(const host::opening& former)
{
    return client_->open(std::make_shared<host::message_record>(former.shown.copy()));
}

std::string plain_mail(std::string_view body, std::string_view message_id)
{
    std::string text = "From: Ada <ada@example.org>\r\nTo: Ben <ben@example.org>\r\nSubject: Minutes\r\n"
                       "Date: Sat, 21 Nov 2026 09:00:00 +0000\r\nMIME-Version: 1.0\r\n"
                       "Content-Type: text/plain; charset=utf-8\r\nMessage-ID: ";
    text.append(message_id).append("\r\n\r\n").append(body);
    return text;
}

std::string mail_with_attachment(std::string_view body, std::string_view file_name, std::string_view content)
{
    std::string text = "From: Ada <ada@example.org>\r\nTo: Ben <ben@example.org>\r\nSubject: Figures\r\n"
                       "Message-ID: <2@example.org>\r\nMIME-Version: 1.0\r\n"
                       "Content-Type: multipart/mixed; boundary=\"line\"\r\n\r\n"
                       "--line\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n";
    text.append(body).append("\r\n--line\r\nContent-Type: application/octet-stream\r\n"
                             "Content-Disposition: attachment; filename=\"");
    text.append(file_name).append("\"\r\n\r\n").append(content).append("\r\n--line--\r\n");
    return text;
}

std::string antivirus_test_file()
{
    return std::string("X5O!P%@AP[4\\PZX54(P^)7CC)7}$EICAR-STANDARD-").append("ANTIVIRUS-TEST-FILE!$H+H*");
}

} // namespace test
