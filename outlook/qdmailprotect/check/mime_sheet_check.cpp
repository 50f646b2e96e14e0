#include "logging/logging.h"
#include "outlook/qdmailprotect/access/io_stream.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/check/message_ids.h"
#include "outlook/qdmailprotect/check/scan_border.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <utility>

HRESULT MailChecker::CheckMessageAsMimeSheet(bool useCache, ComPtr<IMessage> message, ScanResult& verdict,
                                             ResponsePtr& response)
{
    LOG_LINE(logging::outlook_log(), 500, "Checking message as MIME sheet");
    const HRESULT connected = EnsureConnection(false);
    if (FAILED(connected)) {
        return connected;
    }
    const MessageIds ids = ReadMessageIds(message.get(), "Message ID: ", "Internet Message ID: ");
    ScanResult cached = ScanResult::None;
    if (useCache && verdicts_.FindMessage(message.get(), cached, nullptr)) {
        LOG_LINE(logging::outlook_log(), 500, "Message found in cache, verdict:" << static_cast<int>(cached));
        verdict = cached;
        return S_OK;
    }
    ComPtr<IStream> stream;
    const HRESULT converted = ConvertToMime(message.get(), stream);
    if (FAILED(converted) || !stream) {
        return converted;
    }
    return ScanBorder(*services_.link, [&] {
        return ScanMimeSheet(useCache, message.get(), std::move(stream), ids.Tag(), verdict, response);
    });
}

HRESULT MailChecker::ConvertToMime(IMessage* message, ComPtr<IStream>& stream)
{
    const std::uint32_t begin = services_.clock->tick_count();
    LOG_LINE(logging::outlook_log(), 400, "Message conversion: starting");
    const HRESULT result = converter_.ConvertToMime(message, Receive(stream));
    if (FAILED(result) || !stream) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to convert the message to MIME, hr = 0x" << HexResult(result));
        return result;
    }
    LOG_LINE(logging::outlook_log(), 400,
             "Message conversion: finished (" << services_.clock->tick_count() - begin << "ms)");
    return result;
}

HRESULT MailChecker::ScanMimeSheet(bool useCache, IMessage* message, ComPtr<IStream> stream, const std::string& tag,
                                   ScanResult& verdict, ResponsePtr& response)
{
    PoolPtr pool = services_.link->GetSessionManager();
    if (!pool) {
        LOG_LINE(logging::outlook_log(), 200, "Connection to ICAP server aborted");
        return E_FAIL;
    }
    ScanResult result = ScanResult::None;
    ResponsePtr answer;
    {
        icap::client::session_lease lease(std::move(pool));
        icap::client::scan_mail scan = NewScan();
        std::string subjectText;
        GetMessageSubject(message, subjectText, scan.subject);
        scan.tag = tag;
        scan.mime_type = "text/html";
        scan.type = useCache ? icap::client::content_type::body : icap::client::content_type::attachment;
        scan.data = std::make_shared<web::io_stream>(std::move(stream));
        result = lease->scan(scan, answer);
    }
    if (useCache && result != ScanResult::None) {
        verdicts_.AddMessage(message, result);
        const HRESULT saved = message->SaveChanges(0);
        LOG_LINE(logging::outlook_log(), 500, "Saving message result = 0x" << HexResult(saved));
    }
    verdict = result;
    response = std::move(answer);
    return S_OK;
}
