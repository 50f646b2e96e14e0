#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/attachment_creation.h"
#include "outlook/qdmailprotect/disinfection/body_rewriting.h"
#include "outlook/qdmailprotect/disinfection/encrypted_message.h"
#include "outlook/qdmailprotect/disinfection/subject_marking.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "outlook/qdmailprotect/results/response_contents.h"
#include "outlook/qdmailprotect/verdict/verdict_cache.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <utility>

namespace {

class MailDisinfector final : public MessageDisinfector
{
public:
    explicit MailDisinfector(std::shared_ptr<const StringResources> texts)
        : texts_(std::move(texts))
    {}

    HRESULT DisinfectMessage(VerdictCache& verdicts, ComPtr<IMessage> message, MailBodyInfo& body,
                             std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> item) override;

private:
    std::shared_ptr<const StringResources> texts_;
};

/// Sorts the records by the order in which they are processed.
void SortByNumber(std::vector<AttachmentResult>& attachments)
{
    if (attachments.empty()) {
        return;
    }
    LOG_LINE(logging::outlook_log(), 400, "Processing " << attachments.size() << " attachments for deletion");
    std::stable_sort(attachments.begin(), attachments.end(),
                     [](const AttachmentResult& left, const AttachmentResult& right) {
                         return left.attachNumber < right.attachNumber;
                     });
}

/// Deletes the condemned attachments and marks them as deleted in the records. `result` receives the result of the last
/// deletion.
void DeleteCondemned(IMessage* message, std::vector<AttachmentResult>& attachments, HRESULT& result, bool& changed)
{
    for (AttachmentResult& record : attachments) {
        LOG_LINE(logging::outlook_log(), 400,
                 "   Attach ID " << record.attachNumber << " (" << winapi::conv_to_char(record.fileName)
                                 << ") scan result: " << static_cast<int>(record.scanResult));
        if (record.scanResult != ScanResult::Blocked) {
            continue;
        }
        LOG_LINE(logging::outlook_log(), 400, "   Deleting attach " << record.attachNumber);
        result = message->DeleteAttach(record.attachNumber, 0, nullptr, 0);
        if (FAILED(result)) {
            LOG_LINE(logging::outlook_log(), 200, "   Failed to delete attach = 0x" << HexResult(result));
            continue;
        }
        LOG_LINE(logging::outlook_log(), 400, "   Attach deleted successfully");
        record.deleted = true;
        changed = true;
    }
}

std::wstring NoticeName(const AttachmentResult& record)
{
    return (record.fileName.empty() ? std::to_wstring(record.attachNumber) : record.fileName) + L".htm";
}

/// Returns the scanner's notice. For a repaired attachment, which has none, the page consists of the subject's text.
std::string NoticeOf(const AttachmentResult& record, const StringResources& texts)
{
    if (!record.repairRefused) {
        return record.noticeHtml;
    }
    return "<html><head><meta charset=\"utf-8\"></head><body><p>" +
           winapi::conv_to_char(texts.Load(StringResources::ModifiedSubject), winapi::code_page_utf8) +
           "</p></body></html>";
}

/// Adds the notices in place of the deleted attachments. `result` receives the result of the last notice.
void AddNotices(const ComPtr<IMessage>& message, const std::vector<AttachmentResult>& attachments,
                const StringResources& texts, HRESULT& result)
{
    for (const AttachmentResult& record : attachments) {
        const std::string notice = NoticeOf(record, texts);
        if (!record.deleted || notice.empty()) {
            LOG_LINE(logging::outlook_log(), 400,
                     "   Skipping the new attach creation for " << record.attachNumber
                                                                << ", HTML size = " << notice.size());
            continue;
        }
        const std::wstring name = NoticeName(record);
        result = AddTextAttachment(message, name, notice, L"text/html");
        LOG_LINE(logging::outlook_log(), 400,
                 "   Added new attach: " << winapi::conv_to_char(name) << ", result: 0x" << HexResult(result));
    }
}

HRESULT MailDisinfector::DisinfectMessage(VerdictCache& verdicts, ComPtr<IMessage> message, MailBodyInfo& body,
                                          std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> item)
{
    if (!message) {
        return E_INVALIDARG;
    }
    if (verdicts.IsEncrypted(message.get())) {
        LOG_LINE(logging::outlook_log(), 400,
                 "The message is encrypted, starting the special disinfection procedure...");
        return DisinfectEncryptedMessage(verdicts, std::move(message), body, attachments, std::move(item), *texts_);
    }
    LOG_LINE(logging::outlook_log(), 400, "Disinfecting message...");
    bool changed = false;
    HRESULT result = S_OK;
    SortByNumber(attachments);
    DeleteCondemned(message.get(), attachments, result, changed);
    AddNotices(message, attachments, *texts_, result);
    if (body.scanResult == ScanResult::Blocked && HasContents(body.scanResponse.get())) {
        // This outcome applies to the whole message: deletions alone no longer change the subject.
        changed = ModifyMailBody(message, body, attachments, *texts_);
        body.replaced = changed;
    }
    if (changed) {
        MarkSubject(message.get(), *texts_);
    }
    return result;
}

} // namespace

std::shared_ptr<MessageDisinfector> MakeMailDisinfector(std::shared_ptr<const StringResources> texts)
{
    return std::make_shared<MailDisinfector>(texts ? std::move(texts) : EnglishTexts());
}
