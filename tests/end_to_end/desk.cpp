#include "tests/end_to_end/desk.h"

#include "mail/mime/reading/message_reader.h"
#include "mail/mime/writing/converter_session.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "store/bytes.h"
#include "store/memory_stream.h"

#include <utility>

namespace test {

impatient_link::impatient_link(std::uint16_t port, std::uint32_t limit)
    : port_(port)
    , limit_(limit)
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
    try {
        pool_ = connect_impatiently({L"127.0.0.1", port_, L"/webscan"}, limit_);
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
    : desk(std::make_shared<impatient_link>(port), std::move(identity))
{}

desk::desk(const std::shared_ptr<impatient_link>& link, std::shared_ptr<const host::smime_identity> identity)
    : desk(std::static_pointer_cast<ConnectionSource>(link), std::move(identity))
{
    link_ = link;
}

desk::desk(std::shared_ptr<ConnectionSource> link, std::shared_ptr<const host::smime_identity> identity)
{
    MailCheckerServices services;
    services.link = std::move(link);
    services.converter.createSession = host::converter_session::create;
    services.converter.createStream = host::create_memory_stream;
    services.disinfector = MakeMailDisinfector();
    checker_ = std::make_shared<MailChecker>(std::move(services));
    checker_->Init(true, 4711, "/usr/bin/mail-client", "S-1-5-21-0-0-0-1000");
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
