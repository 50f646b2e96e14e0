#pragma once

#include "host/store/event_source.h"
#include "host/store/item.h"
#include "outlook/qdmailprotect/check/mail_events.h"
#include "outlook/qdmailprotect/check/message_check.h"
#include "tool/icap_client/scan_result.h"

#include <cstdint>
#include <memory>

namespace host {

/// What one opening of a message came to.
struct opening
{
    HRESULT result = S_OK; ///< of the check
    ScanResult verdict = ScanResult::None;
    bool blocked = false;         ///< the display was stopped
    std::uint64_t elapsed_ms = 0; ///< from item load to read complete
    ComPtr<item> opened;          ///< the item as it stood when it was displayed
};

/// Opens messages as the mail client does: item load, before read, read complete, unload, on the calling thread.
class mail_client
{
public:
    explicit mail_client(std::shared_ptr<MessageCheck> check);
    mail_client(const mail_client&) = delete;
    mail_client& operator=(const mail_client&) = delete;
    ~mail_client();

    /// Opens and closes one message. A failed check is part of the result, as is whatever it did to the opened item;
    /// only what is saved reaches `stored`, so that a further opening finds the message as it was saved last.
    opening open(const std::shared_ptr<message_record>& stored);

private:
    class observed_check;

    std::shared_ptr<observed_check> check_;
    std::shared_ptr<event_source> events_;
    ComPtr<MailEvents> receiver_;
};

} // namespace host
