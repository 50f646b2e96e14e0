#include "outlook/qdmailprotect/check/mail_checker.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/item_access.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/check/message_ids.h"
#include "outlook/qdmailprotect/check/scan_border.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "outlook/qdmailprotect/results/response_contents.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <utility>

namespace {

int Number(ScanResult result)
{
    return static_cast<int>(result);
}

bool IsBlocked(const AttachmentResult& record)
{
    return record.scanResult == ScanResult::Blocked;
}

} // namespace

MailChecker::MailChecker(MailCheckerServices services)
    : services_(std::move(services))
    , converter_(services_.converter)
{
    if (!services_.disinfector) {
        services_.disinfector = MakeMailDisinfector();
    }
    if (!services_.clock) {
        services_.clock = &winapi::system_time_source();
    }
    if (!services_.sessions) {
        services_.sessions = &SystemSessionLookup();
    }
}

MailChecker::~MailChecker() = default;

void MailChecker::Init(bool mapiReady, std::uint32_t processId, std::string processName, std::string userName)
{
    mapiReady_ = mapiReady;
    processId_ = processId;
    processName_ = std::move(processName);
    userName_ = std::move(userName);
    if (mapiReady_) {
        converterStarted_ = converter_.Init();
        if (!converterStarted_) {
            LOG_LINE(logging::outlook_log(), 200, "Failed to initialize converter");
        }
    }
    services_.link->Start();
    verdicts_.ReadRegistryParams();
    switches_ = ReadCheckSwitches();
}

void MailChecker::Close()
{
    services_.link->Stop();
    if (mapiReady_ && converterStarted_) {
        converter_.Close();
        converterStarted_ = false;
    }
}

bool MailChecker::PluginTurnedOn()
{
    const auto settings = services_.link->GetSettings();
    if (settings && settings->UseOutlookPlugin.Effective()) {
        return true;
    }
    LOG_LINE(logging::outlook_log(), 400, "Outlook plugin is turned off");
    return false;
}

HRESULT MailChecker::EnsureConnection(bool connectNow)
{
    if (!PluginTurnedOn()) {
        return E_NOINTERFACE;
    }
    if (!services_.link->IsConnected()) {
        services_.link->LoadSettings();
        LOG_LINE(logging::outlook_log(), 500, "Forcing the ICAP server connection (" << connectNow << ")");
        services_.link->ForceConnection(connectNow);
        if (!services_.link->IsConnected()) {
            LOG_LINE(logging::outlook_log(), 200, "No ICAP server available");
            return NoServiceAvailable;
        }
    }
    return PluginTurnedOn() ? S_OK : E_NOINTERFACE;
}

HRESULT MailChecker::GetMessageSubject(IMessage* message, std::string& subjectText, std::string& mailTag)
{
    if (!message) {
        return E_INVALIDARG;
    }
    std::wstring sender;
    std::wstring subject;
    std::wstring time;
    GetPropWideString(message, PR_SENDER_NAME_W, sender);
    GetPropWideString(message, PR_SUBJECT_W, subject);
    GetPropWideString(message, PR_MESSAGE_DELIVERY_TIME, time);
    std::wstring text;
    text.reserve(sender.size() + subject.size() + time.size() + 32); // 32: the words between them
    text.append(L"[From:").append(sender).append(L"][Subject:").append(subject).append(L"][Time:").append(time) += L']';
    LOG_LINE(logging::outlook_log(), 500, "Message subject: " << winapi::conv_to_char(text));
    subjectText = winapi::conv_to_char(subject, winapi::code_page_thread_ansi);
    mailTag = winapi::conv_to_char(text, winapi::code_page_utf8);
    return S_OK;
}

icap::client::scan_mail MailChecker::NewScan() const
{
    std::uint32_t session = 0xFFFFFFFFU;
    if (const std::uint32_t error = services_.sessions->FindSession(services_.sessions->CurrentProcess(), session)) {
        LOG_LINE(logging::outlook_log(), 200, "ProcessIdToSessionId() failed: error=0x" << winapi::hex32(error));
        session = 0xFFFFFFFFU;
    }
    LOG_LINE(logging::outlook_log(), 400, "Session ID = " << session);
    icap::client::scan_mail scan;
    scan.user_name = userName_;
    scan.session_id = session;
    scan.process_name = processName_;
    scan.process_id = processId_;
    scan.timeout = ScanTimeout;
    scan.hardened = switches_.hardenedScanning;
    return scan;
}

HRESULT MailChecker::CheckMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                                  bool& blockDisplay)
{
    blockDisplay = false;
    return ScanBorder(*services_.link,
                      [&] { return CheckOpenedMessage(connectNow, useCache, std::move(item), verdict, blockDisplay); });
}

HRESULT MailChecker::CheckOpenedMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                                        bool& blockDisplay)
{
    const HRESULT connected = EnsureConnection(connectNow);
    if (FAILED(connected)) {
        return connected;
    }
    if (!useCache) {
        return E_NOTIMPL;
    }
    ComPtr<IMessage> message;
    const HRESULT found = ItemToMessage(item, message);
    if (FAILED(found)) {
        return found;
    }
    const MessageIds ids = ReadMessageIds(message.get(), "Message ID: ", "Internet Message ID: ");
    MailBodyInfo body;
    std::string mailTag;
    GetMessageSubject(message.get(), body.subject, mailTag);

    FollowSignatures();
    ScanResult cached = ScanResult::None;
    bool seenInternally = false;
    if (verdicts_.FindMessage(message.get(), cached, &seenInternally)) {
        LOG_LINE(logging::outlook_log(), 500, "Message found in cache, verdict:" << Number(cached));
        verdict = cached;
        if (seenInternally && cached == ScanResult::Blocked) {
            LOG_LINE(logging::outlook_log(), 500,
                     "Message disinfected earlier but has no stored information about it, blocking the message "
                     "display");
            blockDisplay = true;
        }
        return S_OK;
    }

    const HRESULT bodyChecked = CheckBody(message, ids.Tag(), mailTag, body);
    LOG_LINE(logging::outlook_log(), 400,
             "Message body checked, hr=0x" << HexResult(bodyChecked) << ", result: " << Number(body.scanResult));
    std::vector<AttachmentResult> attachments;
    const HRESULT attachmentsChecked = CheckAttachments(message, mailTag, attachments);
    LOG_LINE(logging::outlook_log(), 400,
             "Attachments checked, hr=0x" << HexResult(attachmentsChecked)
                                          << ", generated results: " << attachments.size());

    JudgeMessage(message, body, attachments, attachmentsChecked, item, verdict, blockDisplay);
    return S_OK;
}

void MailChecker::JudgeMessage(const ComPtr<IMessage>& message, MailBodyInfo& body,
                               std::vector<AttachmentResult>& attachments, HRESULT attachmentsChecked,
                               const ComPtr<IUnknown>& item, ScanResult& verdict, bool& blockDisplay)
{
    const bool hardened = switches_.hardenedScanning;
    if (hardened) {
        ApplyRepairs(message.get(), body, attachments);
    }
    const bool condemned =
        body.scanResult == ScanResult::Blocked || std::any_of(attachments.begin(), attachments.end(), IsBlocked);
    bool disinfected = true;
    if (hardened && condemned) {
        disinfected = DisinfectOrBlock(message, body, attachments, item, blockDisplay);
    } else {
        DisinfectIfDue(message, body, attachments, item, blockDisplay);
    }

    verdict = condemned ? ScanResult::Blocked : body.scanResult;
    if (hardened && !condemned && AnyExchangeFailed(body, attachments)) {
        verdict = ScanResult::None; // the next opening tries again
    }
    LOG_LINE(logging::outlook_log(), 500, "Calculated scan result = " << Number(verdict));
    if (!disinfected) {
        verdicts_.RememberMessage(message.get(), verdict); // on the message it would open what is condemned
    } else if (verdict != ScanResult::None) {
        verdicts_.AddMessage(message.get(), verdict);
        // The text mentions the save, but the value has always been the result of the attachment check.
        LOG_LINE(logging::outlook_log(), 500, "Saving message result = 0x" << HexResult(attachmentsChecked));
    }
}

/// What is scanned from now on is judged by these signatures or by newer ones.
void MailChecker::FollowSignatures()
{
    if (!switches_.rescanOnNewSignatures) {
        return;
    }
    if (const auto manager = services_.link->GetSessionManager()) {
        verdicts_.SetSignatures(manager->istag());
    }
}

void MailChecker::DisinfectIfDue(const ComPtr<IMessage>& message, MailBodyInfo& body,
                                 std::vector<AttachmentResult>& attachments, const ComPtr<IUnknown>& item,
                                 bool& blockDisplay)
{
    if (body.scanResult == ScanResult::Blocked && HasContents(body.scanResponse.get())) {
        LOG_LINE(logging::outlook_log(), 300, "Message body should be disinfected");
        if (verdicts_.IsEncrypted(message.get())) {
            LOG_LINE(logging::outlook_log(), 300, "Message encrypted, block its first display");
            blockDisplay = true;
        }
    } else if (std::none_of(attachments.begin(), attachments.end(), IsBlocked)) {
        return;
    }
    DisinfectMessage(message, body, attachments, item);
}

HRESULT MailChecker::DisinfectMessage(ComPtr<IMessage> message, MailBodyInfo& body,
                                      std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> item)
{
    return services_.disinfector->DisinfectMessage(verdicts_, std::move(message), body, attachments, std::move(item));
}
