#include "logging/logging.h"
#include "outlook/qdmailprotect/access/io_stream.h"
#include "outlook/qdmailprotect/access/item_access.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/check/scan_border.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <utility>

namespace {

std::uint32_t FindBodyType(IMessage* message)
{
    std::uint32_t type = UndefinedBody;
    GetPropLong(message, PR_NATIVE_BODY_INFO, type);
    LOG_LINE(logging::outlook_log(), 400, "Native body type: " << type);
    if (type == UndefinedBody) {
        type = DeduceBodyType(message);
        LOG_LINE(logging::outlook_log(), 400, "Deduced body type: " << type);
    }
    return type;
}

/// Opens the property that contains the body. Returns null if there is none. `type` is set to plain if the plain text
/// is used.
ComPtr<IUnknown> OpenBody(IMessage* message, std::uint32_t& type)
{
    ComPtr<IUnknown> property;
    if (type == RtfBody || type == HtmlBody) {
        const HRESULT result = OpenObject(message, PR_HTML, IID_IStream, property);
        if (FAILED(result)) {
            LOG_LINE(logging::outlook_log(), 200, "Failed to open HTML body: 0x" << HexResult(result));
            property.reset();
        }
    }
    if (!property) {
        const HRESULT result = OpenObject(message, PR_BODY_A, IID_IStream, property);
        if (FAILED(result)) {
            LOG_LINE(logging::outlook_log(), 200, "Failed to open plain body: 0x" << HexResult(result));
            property.reset();
        } else {
            type = PlainBody;
        }
    }
    return property;
}

} // namespace

HRESULT MailChecker::CheckBody(ComPtr<IMessage> message, const std::string& tag, const std::string& subject,
                               MailBodyInfo& body)
{
    if (!message) {
        return E_INVALIDARG;
    }
    LOG_LINE(logging::outlook_log(), 400, "Checking mail body");
    ReadPlainBody(message.get(), body.plainBody);
    body.bodyType = FindBodyType(message.get());
    const ComPtr<IUnknown> property = OpenBody(message.get(), body.bodyType);
    if (!property) {
        LOG_LINE(logging::outlook_log(), 200, "Nothing to check");
        return E_FAIL;
    }
    ComPtr<IStream> stream;
    if (FAILED(Query(property.get(), IID_IStream, stream)) || !stream) {
        return E_FAIL;
    }
    STATSTG stat{};
    const HRESULT measured = stream->Stat(&stat, STATFLAG_NONAME);
    const std::uint64_t size = stat.cbSize.QuadPart;
    LOG_LINE(logging::outlook_log(), 400, "Body size: " << size << " (0x" << HexResult(measured) << ")");
    const auto settings = services_.link->GetSettings();
    const bool oversized = settings && settings->UseSizeLimit.Effective() && size > settings->SizeLimit.Effective();
    if (size == 0 || oversized) {
        LOG_LINE(logging::outlook_log(), 400, "Skipped body by size");
        return S_OK;
    }
    std::uint32_t codePage = 0;
    GetPropLong(message.get(), PR_INTERNET_CPID, codePage);
    LOG_LINE(logging::outlook_log(), 400, "CPID: " << codePage);
    body.exchangeFailed = true; // until there is a verdict
    PoolPtr pool = services_.link->GetSessionManager();
    if (!pool) {
        LOG_LINE(logging::outlook_log(), 200, "No connection to ICAP server");
        return E_FAIL;
    }
    LOG_LINE(logging::outlook_log(), 400, "Starting the body scan");
    return ScanBorder(*services_.link,
                      [&] { return ScanBody(std::move(pool), std::move(stream), tag, subject, body); });
}

HRESULT MailChecker::ScanBody(PoolPtr pool, ComPtr<IStream> stream, const std::string& tag, const std::string& subject,
                              MailBodyInfo& body)
{
    ScanResult result = ScanResult::None;
    ResponsePtr answer;
    {
        icap::client::session_lease lease(std::move(pool));
        icap::client::scan_mail scan = NewScan();
        scan.subject = subject;
        scan.tag = tag;
        scan.mime_type = "text/html"; // regardless of the actual body type
        scan.type = icap::client::content_type::body;
        scan.data = std::make_shared<web::io_stream>(std::move(stream));
        result = lease->scan(scan, answer);
    }
    body.scanResponse = std::move(answer);
    body.scanResult = result;
    body.exchangeFailed = result == ScanResult::None;
    return S_OK;
}
