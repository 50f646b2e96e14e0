#pragma once

#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tests/outlook/qdmailprotect/support/scripted_converter.h"
#include "tests/outlook/qdmailprotect/support/scripted_item.h"
#include "tests/outlook/qdmailprotect/support/scripted_scanner.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tests/support/log_capture.h"
#include "tool/system/registry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Runs single steps of a check.
class MailCheckerProbe
{
public:
    explicit MailCheckerProbe(MailChecker& checker)
        : checker_(checker)
    {}
    HRESULT EnsureConnection(bool now) { return checker_.EnsureConnection(now); }
    HRESULT GetMessageSubject(IMessage* message, std::string& subject, std::string& tag)
    {
        return checker_.GetMessageSubject(message, subject, tag);
    }
    HRESULT CheckBody(ComPtr<IMessage> message, const std::string& tag, const std::string& subject, MailBodyInfo& body)
    {
        return checker_.CheckBody(std::move(message), tag, subject, body);
    }
    HRESULT CheckAttachments(ComPtr<IMessage> message, const std::string& tag, std::vector<AttachmentResult>& records)
    {
        return checker_.CheckAttachments(std::move(message), tag, records);
    }
    HRESULT CheckAttachment(ComPtr<IMessage> message, const std::string& tag, AttachmentResult& record)
    {
        return checker_.CheckAttachment(std::move(message), tag, record);
    }
    HRESULT CheckEmbeddedMessage(ComPtr<IUnknown> object, AttachmentResult& record)
    {
        return checker_.CheckEmbeddedMessage(std::move(object), record);
    }
    HRESULT CheckMessageAsMimeSheet(bool useCache, ComPtr<IMessage> message, ScanResult& verdict,
                                    std::shared_ptr<icap::response_message>& response)
    {
        return checker_.CheckMessageAsMimeSheet(useCache, std::move(message), verdict, response);
    }
    VerdictCache& verdicts() { return checker_.verdicts_; }

private:
    MailChecker& checker_;
};

namespace test {

/// A clock that advances only when the test sets it.
class still_clock final : public winapi::time_source
{
public:
    mutable std::uint32_t now = 1000;
    std::uint32_t step = 0; ///< added at each reading
    [[nodiscard]] std::uint32_t tick_count() const override
    {
        const std::uint32_t shown = now;
        now += step;
        return shown;
    }
    [[nodiscard]] std::uint64_t system_ticks() const override { return 0; }
};

/// Process 4711 in session 7, unless the look-up fails.
class fixed_session final : public SessionLookup
{
public:
    std::uint32_t error = 0;
    [[nodiscard]] std::uint32_t CurrentProcess() const override { return 4711; }
    std::uint32_t FindSession(std::uint32_t process, std::uint32_t& session) const override
    {
        if (error == 0) {
            session = process == 4711 ? 7 : 0;
        }
        return error;
    }
};

/// Records the disinfections that are requested.
class noting_disinfector final : public MessageDisinfector
{
public:
    int calls = 0;
    HRESULT result = S_OK;
    bool raises = false;
    MailBodyInfo body;
    std::vector<AttachmentResult> attachments;
    IMessage* message = nullptr;
    IUnknown* item = nullptr;

    HRESULT DisinfectMessage(VerdictCache&, ComPtr<IMessage> given, MailBodyInfo& info,
                             std::vector<AttachmentResult>& records, ComPtr<IUnknown> of) override;
};

/// A checker over a scripted store, link, converter and disinfector, with an empty registry. At the end of the test all
/// objects of the store must have been destroyed and all sessions returned.
class checker_fixture : public ::testing::Test
{
protected:
    checker_fixture();
    void TearDown() override;

    /// Creates a message with an entry identifier, an internet identifier, subject, sender and a plain body.
    std::unique_ptr<stored_message> new_message();
    /// Creates an item of the given kind over `message`.
    ComPtr<scripted_item> item_of(stored_message& message, const IID& kind = IID_MailItem)
    {
        return MakeCom<scripted_item>(store, kind, identity(message));
    }
    HRESULT check(stored_message& message, bool connect_now = false, bool use_cache = true);
    void answer(ScanResult result, std::shared_ptr<icap::response_message> response = nullptr)
    {
        link->pool->answers.push_back({result, std::move(response), false});
    }
    void fail_next_scan() { link->pool->answers.push_back({ScanResult::None, nullptr, true}); }
    [[nodiscard]] const std::vector<scan_record>& scans() const { return pool->scans; }

    winapi::memory_registry registry;
    winapi::registry_override registry_is{registry};
    log_capture log;
    scripted_store store;
    still_clock clock;
    fixed_session session;
    std::shared_ptr<scripted_link> link = std::make_shared<scripted_link>();
    std::shared_ptr<scripted_pool> pool = link->pool; ///< kept when the link drops it
    std::shared_ptr<scripted_converter> converter = std::make_shared<scripted_converter>(store);
    std::shared_ptr<noting_disinfector> disinfector = std::make_shared<noting_disinfector>();
    MailChecker checker;
    MailCheckerProbe probe{checker};
    ScanResult verdict = ScanResult::None;
    bool block_display = true;
};

/// Returns the texts of the lines, each preceded by its level: "400 Checking mail body". Lines of the logger "wpx" come
/// from the scripted link and pool.
std::vector<std::string> leveled(const log_capture& log);
/// Returns the same without the lines of failed property reads.
std::vector<std::string> leveled_without_reads(const log_capture& log);

} // namespace test
