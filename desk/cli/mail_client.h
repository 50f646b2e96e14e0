#pragma once

#include "desk/run/answer_record.h"
#include "desk/run/opening.h"
#include "mail/smime/enveloped_message.h"
#include "outlook/qdmailprotect/check/mail_events.h"
#include "outlook/qdmailprotect/check/message_check.h"
#include "store/event_source.h"

#include <memory>

namespace host {

/// Opens messages as the mail client does: item load, before read, read complete, unload, on the calling thread. An
/// enveloped message opens as the wrapper that shows its decrypted contents to the reader.
class mail_client final : public message_opener
{
public:
    /// `identity` is the reader's own. If it is null, enveloped messages stay closed. `answers` receives the lines of
    /// the check; the answers themselves, if somebody observes them. If it is null, the lines alone are evaluated.
    explicit mail_client(std::shared_ptr<MessageCheck> check, std::shared_ptr<const smime_identity> identity = nullptr,
                         std::shared_ptr<answer_record> answers = nullptr);
    mail_client(const mail_client&) = delete;
    mail_client& operator=(const mail_client&) = delete;
    ~mail_client() override;

    opening open(const std::shared_ptr<message_record>& stored) override;

private:
    class observed_check;
    class heard_lines;

    std::shared_ptr<observed_check> check_;
    std::shared_ptr<answer_record> answers_;
    std::unique_ptr<heard_lines> lines_;
    std::shared_ptr<const smime_identity> identity_;
    std::shared_ptr<event_source> events_;
    ComPtr<MailEvents> receiver_;
};

} // namespace host
