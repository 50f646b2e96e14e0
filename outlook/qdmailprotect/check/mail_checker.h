#pragma once

#include "outlook/qdmailprotect/access/message_converter.h"
#include "outlook/qdmailprotect/check/check_switches.h"
#include "outlook/qdmailprotect/check/message_check.h"
#include "outlook/qdmailprotect/check/session_lookup.h"
#include "outlook/qdmailprotect/disinfection/message_disinfector.h"
#include "outlook/qdmailprotect/link/connection_source.h"
#include "outlook/qdmailprotect/results/check_results.h"
#include "outlook/qdmailprotect/verdict/verdict_cache.h"
#include "tool/icap_client/scan_records.h"
#include "tool/system/clock.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Returned by EnsureConnection if no service is available. Not a failure: the check continues and judges nothing.
inline constexpr HRESULT NoServiceAvailable = 240;

/// The maximum wait for the scan of one object, in milliseconds.
inline constexpr std::uint32_t ScanTimeout = 60000;

/// Returns true if an object that was to be scanned has no complete verdict.
bool AnyExchangeFailed(const MailBodyInfo& body, const std::vector<AttachmentResult>& attachments);

/// The dependencies of a MailChecker.
struct MailCheckerServices
{
    std::shared_ptr<ConnectionSource> link;          ///< required
    ConverterPlatform converter;                     ///< converts embedded messages to MIME sheets
    std::shared_ptr<MessageDisinfector> disinfector; ///< null: the one that modifies messages, with its built-in texts
    const winapi::time_source* clock = nullptr;      ///< null: the system clock; otherwise must outlive the checker
    const SessionLookup* sessions = nullptr;         ///< null: the system's; otherwise must outlive the checker
};

/// Judges messages, one at a time: queries the verdict cache, sends the body and then each attachment to the scanner,
/// has condemned messages disinfected, and stores the verdict. The checker fails open: without a service, settings or
/// readable objects nothing is judged. Only the verdict of a message is retained. All operations must be called on the
/// thread that delivers item events and block while the scanner works, for at most ScanTimeout per object.
///
/// Message references that are passed by value are released on every path. If a scan throws a std::exception, the
/// connection is dropped and E_UNEXPECTED is returned.
class MailChecker : public MessageCheck
{
public:
    explicit MailChecker(MailCheckerServices services);
    MailChecker(const MailChecker&) = delete;
    MailChecker& operator=(const MailChecker&) = delete;
    ~MailChecker() override;

    /// Initializes the converter if `mapiReady` is true, starts the link, and reads the registry. `userName` is UTF-8.
    void Init(bool mapiReady, std::uint32_t processId, std::string processName, std::string userName);
    /// Stops the link and closes the converter.
    void Close();

    HRESULT CheckMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                         bool& blockDisplay) override;
    [[nodiscard]] bool IsAttachmentAllowed(const std::wstring& fileName) override;

private:
    friend class MailCheckerProbe; // lets tests run single steps

    using ResponsePtr = std::shared_ptr<icap::response_message>;
    using PoolPtr = std::shared_ptr<icap::client::session_pool>;

    HRESULT EnsureConnection(bool connectNow);
    bool PluginTurnedOn();
    HRESULT GetMessageSubject(IMessage* message, std::string& subjectText, std::string& mailTag);
    /// Returns a request with the fields that are common to all requests of this process.
    icap::client::scan_mail NewScan() const;

    HRESULT CheckOpenedMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                               bool& blockDisplay);
    void FollowSignatures();
    /// Executes the results of both checks on the message, calculates the verdict from them, and stores it.
    /// `attachmentsChecked` is the result of the attachment check.
    void JudgeMessage(const ComPtr<IMessage>& message, MailBodyInfo& body, std::vector<AttachmentResult>& attachments,
                      HRESULT attachmentsChecked, const ComPtr<IUnknown>& item, ScanResult& verdict,
                      bool& blockDisplay);
    void DisinfectIfDue(const ComPtr<IMessage>& message, MailBodyInfo& body, std::vector<AttachmentResult>& attachments,
                        const ComPtr<IUnknown>& item, bool& blockDisplay);
    HRESULT DisinfectMessage(ComPtr<IMessage> message, MailBodyInfo& body, std::vector<AttachmentResult>& attachments,
                             ComPtr<IUnknown> item);

    /// Writes repaired contents into the message and saves it. What the store does not take counts as condemned.
    void ApplyRepairs(IMessage* message, MailBodyInfo& body, std::vector<AttachmentResult>& attachments);
    /// Disinfects a condemned message. Returns true if nothing condemned is left in the message as it is displayed
    /// next; otherwise the display is blocked. Does not throw a std::exception.
    bool DisinfectOrBlock(const ComPtr<IMessage>& message, MailBodyInfo& body,
                          std::vector<AttachmentResult>& attachments, const ComPtr<IUnknown>& item, bool& blockDisplay);

    HRESULT CheckMessageAsMimeSheet(bool useCache, ComPtr<IMessage> message, ScanResult& verdict,
                                    ResponsePtr& response);
    HRESULT ConvertToMime(IMessage* message, ComPtr<IStream>& stream);
    HRESULT ScanMimeSheet(bool useCache, IMessage* message, ComPtr<IStream> stream, const std::string& tag,
                          ScanResult& verdict, ResponsePtr& response);

    HRESULT CheckBody(ComPtr<IMessage> message, const std::string& tag, const std::string& subject, MailBodyInfo& body);
    HRESULT ScanBody(PoolPtr pool, ComPtr<IStream> stream, const std::string& tag, const std::string& subject,
                     MailBodyInfo& body);

    HRESULT CheckAttachments(ComPtr<IMessage> message, const std::string& mailTag,
                             std::vector<AttachmentResult>& attachments);
    HRESULT CheckAttachment(ComPtr<IMessage> message, const std::string& mailTag, AttachmentResult& record);
    HRESULT ScanAttachment(IAttach* attach, PoolPtr pool, ComPtr<IStream> stream, const std::string& mailTag,
                           AttachmentResult& record);
    HRESULT CheckEmbeddedMessage(ComPtr<IUnknown> object, AttachmentResult& record);

    bool mapiReady_ = false;
    bool converterStarted_ = false;
    std::uint32_t processId_ = 0;
    std::string processName_;
    std::string userName_;
    CheckSwitches switches_;
    MailCheckerServices services_;
    MessageConverter converter_;
    VerdictCache verdicts_;
};
