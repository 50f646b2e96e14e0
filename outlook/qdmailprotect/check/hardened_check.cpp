#include "logging/logging.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/check/repaired_contents.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "tool/icap/response_message.h"

#include <algorithm>
#include <exception>

// The steps of a check that only hardened scanning has.

namespace {

/// Returns true if everything that was condemned is gone from the message that is displayed next.
bool IsDisinfected(bool encrypted, const MailBodyInfo& body, const std::vector<AttachmentResult>& attachments)
{
    if (encrypted) {
        return body.replaced; // of the base message, which loses its envelope and all that is in it
    }
    const bool left = std::any_of(attachments.begin(), attachments.end(), [](const AttachmentResult& record) {
        return record.scanResult == ScanResult::Blocked && !record.deleted;
    });
    return !left && (body.scanResult != ScanResult::Blocked || body.replaced);
}

void Condemn(AttachmentResult& record)
{
    record.scanResult = ScanResult::Blocked;
    record.repairRefused = true;
}

void Condemn(MailBodyInfo& body)
{
    body.scanResult = ScanResult::Blocked;
    body.scanResponse.reset(); // it contains a repaired body, and no page that replaces one
}

} // namespace

bool AnyExchangeFailed(const MailBodyInfo& body, const std::vector<AttachmentResult>& attachments)
{
    return body.exchangeFailed || std::any_of(attachments.begin(), attachments.end(),
                                              [](const AttachmentResult& record) { return record.exchangeFailed; });
}

void MailChecker::ApplyRepairs(IMessage* message, MailBodyInfo& body, std::vector<AttachmentResult>& attachments)
{
    const bool repairedBody = body.scanResult == ScanResult::Repaired;
    std::vector<AttachmentResult*> repaired;
    for (AttachmentResult& record : attachments) {
        if (record.scanResult == ScanResult::Repaired) {
            repaired.push_back(&record);
        }
    }
    if (!repairedBody && repaired.empty()) {
        return;
    }
    // Changes to the wrapper of an encrypted message are lost.
    const bool changeable = !verdicts_.IsEncrypted(message);
    bool changed = false;
    if (repairedBody) {
        const HRESULT replaced = changeable ? ReplaceBody(message, body) : E_NOTIMPL;
        if (SUCCEEDED(replaced)) {
            changed = true;
        } else {
            LOG_LINE(logging::outlook_log(), 200, "Failed to write the repaired body: 0x" << HexResult(replaced));
            Condemn(body);
        }
    }
    for (AttachmentResult* record : repaired) {
        const HRESULT replaced = changeable ? ReplaceAttachment(message, *record) : E_NOTIMPL;
        if (SUCCEEDED(replaced)) {
            changed = true;
        } else {
            LOG_LINE(logging::outlook_log(), 200,
                     "Failed to write the repaired attach " << record->attachNumber << ": 0x" << HexResult(replaced));
            Condemn(*record);
        }
    }
    const HRESULT saved = changed ? message->SaveChanges(KEEP_OPEN_READWRITE) : S_OK;
    if (FAILED(saved)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to save the repaired message: 0x" << HexResult(saved));
        if (repairedBody) {
            Condemn(body);
        }
        std::for_each(repaired.begin(), repaired.end(), [](AttachmentResult* record) { Condemn(*record); });
    }
}

bool MailChecker::DisinfectOrBlock(const ComPtr<IMessage>& message, MailBodyInfo& body,
                                   std::vector<AttachmentResult>& attachments, const ComPtr<IUnknown>& item,
                                   bool& blockDisplay)
{
    try {
        DisinfectIfDue(message, body, attachments, item, blockDisplay);
    } catch (const std::exception& problem) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to disinfect the message: " << problem.what());
    }
    const bool encrypted = verdicts_.IsEncrypted(message.get());
    const bool disinfected = IsDisinfected(encrypted, body, attachments);
    if (!disinfected) {
        LOG_LINE(logging::outlook_log(), 300, "Message could not be disinfected, blocking the message display");
        blockDisplay = true;
    } else if (encrypted && !blockDisplay) {
        LOG_LINE(logging::outlook_log(), 300, "Message encrypted, block its first display");
        blockDisplay = true; // the wrapper, which is displayed, is unchanged
    }
    return disinfected;
}
