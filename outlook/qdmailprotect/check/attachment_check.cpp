#include "logging/logging.h"
#include "outlook/qdmailprotect/access/io_stream.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/check/attachment_filter.h"
#include "outlook/qdmailprotect/check/attachment_rows.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/check/message_ids.h"
#include "outlook/qdmailprotect/check/scan_border.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "outlook/qdmailprotect/results/response_contents.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <utility>

namespace {

constexpr LONG MaximumRows = 100; ///< further rows are ignored

std::string Narrow(const std::wstring& text)
{
    return winapi::conv_to_char(text);
}

HRESULT QueryAttachmentRows(IMessage* message, RowSetPtr& rows)
{
    ComPtr<IMAPITable> table;
    const HRESULT opened = message->GetAttachmentTable(0, Receive(table));
    if (FAILED(opened) || !table) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get the attachment table, 0x" << HexResult(opened));
        return opened;
    }
    SRowSet* raw = nullptr;
    const HRESULT queried = table->QueryRows(MaximumRows, TBL_NOADVANCE, &raw);
    rows.reset(raw);
    if (FAILED(queried) || !rows) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to query rows from attachment table, 0x" << HexResult(queried));
        rows.reset();
    }
    return queried;
}

bool IsTried(std::uint32_t method)
{
    return method == ATTACH_BY_VALUE || method == ATTACH_EMBEDDED_MSG || method == ATTACH_OLE;
}

/// Logs whether an embedded object that is not scanned can be opened.
HRESULT ProbeStorage(IAttach* attach)
{
    ComPtr<IUnknown> object;
    const HRESULT opened = OpenObject(attach, PR_ATTACH_DATA_OBJ, IID_IStorage, object);
    if (FAILED(opened) || !object) {
        LOG_LINE(logging::outlook_log(), 200, "   Failed to get attach body storage = 0x" << HexResult(opened));
        return E_NOINTERFACE;
    }
    ComPtr<IStorage> storage;
    if (FAILED(Query(object.get(), IID_IStorage, storage)) || !storage) {
        LOG_LINE(logging::outlook_log(), 200, "   Failed to get attach body storage");
        return E_NOINTERFACE;
    }
    return S_OK;
}

} // namespace

HRESULT MailChecker::CheckAttachments(ComPtr<IMessage> message, const std::string& mailTag,
                                      std::vector<AttachmentResult>& attachments)
{
    LOG_LINE(logging::outlook_log(), 400, "Checking message attachments");
    RowSetPtr rows;
    const HRESULT queried = QueryAttachmentRows(message.get(), rows);
    if (!rows) {
        return queried;
    }
    LOG_LINE(logging::outlook_log(), 400, "Number of attachments: " << rows->cRows);
    if (rows->cRows == 0) {
        return S_OK;
    }
    const auto settings = services_.link->GetSettings();
    for (ULONG i = 0; i < rows->cRows; ++i) {
        AttachmentRow row = ReadAttachmentRow(rows->aRow[i]);
        LOG_LINE(logging::outlook_log(), 400,
                 " - Checking attachment ID: " << row.number << ", name: '" << Narrow(row.displayName) << "'/'"
                                               << Narrow(row.fileName) << "', tag: " << Narrow(row.mimeTag)
                                               << ", size: " << row.size << " bytes, method: " << row.method);
        if (!IsTried(row.method)) {
            LOG_LINE(logging::outlook_log(), 400, "   Skipped by attach method");
            continue;
        }
        if (settings && settings->UseSizeLimit.Effective() && row.size > settings->SizeLimit.Effective()) {
            LOG_LINE(logging::outlook_log(), 400, "   Skipped by size");
            continue;
        }
        AttachmentResult record;
        record.attachNumber = row.number;
        record.attachMethod = row.method;
        record.fileName = row.displayName.empty() ? std::move(row.fileName) : std::move(row.displayName);
        record.mimeTag = Narrow(row.mimeTag);
        const HRESULT checked = CheckAttachment(message, mailTag, record);
        LOG_LINE(logging::outlook_log(), 400,
                 "   Attachment checked, hr = 0x" << HexResult(checked)
                                                  << ", result: " << static_cast<int>(record.scanResult));
        attachments.push_back(std::move(record));
    }
    return S_OK;
}

HRESULT MailChecker::CheckAttachment(ComPtr<IMessage> message, const std::string& mailTag, AttachmentResult& record)
{
    ComPtr<IAttach> attach;
    const HRESULT opened = message->OpenAttach(record.attachNumber, nullptr, 0, Receive(attach));
    if (FAILED(opened) || !attach) {
        LOG_LINE(logging::outlook_log(), 200, "   Failed to open attach = 0x" << HexResult(opened));
        return E_FAIL;
    }
    ComPtr<IUnknown> object;
    if (record.attachMethod == ATTACH_BY_VALUE) {
        const HRESULT result = OpenObject(attach.get(), PR_ATTACH_DATA_BIN, IID_IStream, object);
        if (FAILED(result)) {
            LOG_LINE(logging::outlook_log(), 200, "   Failed to get attach body = 0x" << HexResult(result));
            object.reset();
        }
    } else if (record.attachMethod == ATTACH_EMBEDDED_MSG) {
        const HRESULT result = OpenObject(attach.get(), PR_ATTACH_DATA_OBJ, IID_IMessage, object);
        if (FAILED(result) || !object) {
            LOG_LINE(logging::outlook_log(), 200,
                     "   Failed to get embedded message from attach = 0x" << HexResult(result));
            return E_FAIL;
        }
        return CheckEmbeddedMessage(std::move(object), record);
    } else if (record.attachMethod == ATTACH_OLE) {
        const HRESULT result = ProbeStorage(attach.get());
        if (FAILED(result)) {
            return result;
        }
    }
    if (!object) {
        return E_INVALIDARG;
    }
    ComPtr<IStream> stream;
    if (FAILED(Query(object.get(), IID_IStream, stream)) || !stream) {
        LOG_LINE(logging::outlook_log(), 200, "   Failed to open file body stream");
        return E_NOINTERFACE;
    }
    STATSTG stat{};
    const HRESULT measured = stream->Stat(&stat, STATFLAG_NONAME);
    LOG_LINE(logging::outlook_log(), 400,
             "   Attach size: " << stat.cbSize.QuadPart << " (0x" << HexResult(measured) << ")");
    if (stat.cbSize.QuadPart == 0) {
        LOG_LINE(logging::outlook_log(), 400, "   Skipping zero-length attach");
        return S_OK;
    }
    LOG_LINE(logging::outlook_log(), 400, "   Starting the attach scan");
    record.exchangeFailed = true; // until there is a verdict
    PoolPtr pool = services_.link->GetSessionManager();
    if (!pool) {
        LOG_LINE(logging::outlook_log(), 200, "No connection to ICAP server");
        return E_UNEXPECTED;
    }
    return ScanBorder(*services_.link, [&] {
        return ScanAttachment(attach.get(), std::move(pool), std::move(stream), mailTag, record);
    });
}

HRESULT MailChecker::ScanAttachment(IAttach* attach, PoolPtr pool, ComPtr<IStream> stream, const std::string& mailTag,
                                    AttachmentResult& record)
{
    icap::client::session_lease lease(std::move(pool));
    icap::client::scan_mail scan = NewScan();
    scan.attach_name = winapi::conv_to_char(record.fileName, winapi::code_page_utf8);
    if (scan.attach_name.empty()) {
        std::wstring name;
        GetPropWideString(attach, PR_ATTACH_FILENAME_W, name);
        scan.attach_name = Narrow(name);
    }
    scan.mime_type = record.mimeTag;
    scan.subject = mailTag;
    scan.type = icap::client::content_type::attachment;
    scan.data = std::make_shared<web::io_stream>(std::move(stream));
    ResponsePtr answer;
    record.scanResult = lease->scan(scan, answer);
    record.exchangeFailed = record.scanResult == ScanResult::None;
    if (scan.hardened && record.scanResult == ScanResult::Repaired) {
        record.repair = std::move(answer);
        return S_OK;
    }
    record.noticeHtml = ReadContents(answer.get());
    return S_OK;
}

HRESULT MailChecker::CheckEmbeddedMessage(ComPtr<IUnknown> object, AttachmentResult& record)
{
    ComPtr<IMessage> embedded;
    if (FAILED(Query(object.get(), IID_IMessage, embedded)) || !embedded) {
        LOG_LINE(logging::outlook_log(), 200, "   Failed to get embedded interface");
        return E_NOINTERFACE;
    }
    const MessageIds ids =
        ReadMessageIds(embedded.get(), "   Embedded message ID: ", "   Embedded Internet Message ID: ");
    MailBodyInfo body;
    std::string mailTag;
    GetMessageSubject(embedded.get(), body.subject, mailTag);
    HRESULT result = CheckBody(embedded, ids.Tag(), mailTag, body);
    ResponsePtr response = std::move(body.scanResponse);
    if (body.scanResult == ScanResult::Blocked) {
        record.scanResult = ScanResult::Blocked;
    } else {
        response.reset();
        result = CheckMessageAsMimeSheet(false, embedded, record.scanResult, response);
        record.exchangeFailed = body.exchangeFailed || record.scanResult == ScanResult::None;
        const bool repaired = body.scanResult == ScanResult::Repaired || record.scanResult == ScanResult::Repaired;
        if (switches_.hardenedScanning && repaired && record.scanResult != ScanResult::Blocked) {
            record.scanResult = ScanResult::Repaired;
            response.reset(); // it contains no notice
        }
    }
    // An answer that cannot be read must not end the check of the remaining attachments.
    return ScanBorder(*services_.link, [&] {
        record.noticeHtml = ReadContents(response.get());
        return result;
    });
}

bool MailChecker::IsAttachmentAllowed(const std::wstring& fileName)
{
    const auto settings = services_.link->GetSettings();
    if (settings && settings->UseOutlookPlugin.Effective() && settings->BlockExecInAttach.Effective()) {
        return IsExtensionAllowed(fileName);
    }
    LOG_LINE(logging::outlook_log(), 400, "Attachment filter is not applied");
    return true;
}
