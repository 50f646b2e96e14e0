#include "desk/cli/mail_client.h"

#include "store/item.h"

#include <chrono>
#include <utility>

namespace host {

/// Forwards a check and keeps its outcome, which the item events do not report.
class mail_client::observed_check final : public MessageCheck
{
public:
    explicit observed_check(std::shared_ptr<MessageCheck> real)
        : real_(std::move(real))
    {}
    HRESULT CheckMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                         bool& blockDisplay) override
    {
        result = real_->CheckMessage(connectNow, useCache, std::move(item), verdict, blockDisplay);
        seen = verdict;
        return result;
    }
    [[nodiscard]] bool IsAttachmentAllowed(const std::wstring& fileName) override
    {
        return real_->IsAttachmentAllowed(fileName);
    }

    HRESULT result = E_FAIL; ///< unchanged if no check was made
    ScanResult seen = ScanResult::None;

private:
    std::shared_ptr<MessageCheck> real_;
};

mail_client::mail_client(std::shared_ptr<MessageCheck> check, std::shared_ptr<const smime_identity> identity)
    : check_(std::make_shared<observed_check>(std::move(check)))
    , identity_(std::move(identity))
    , events_(std::make_shared<event_source>())
    , receiver_(MakeCom<MailEvents>(check_, events_))
{
    receiver_->SetConnectNow();
}

mail_client::~mail_client()
{
    receiver_->ReleaseHandlers();
}

opening mail_client::open(const std::shared_ptr<message_record>& stored)
{
    opening result;
    const property_value* message_class = stored->properties->find(PROP_ID(PR_MESSAGE_CLASS_W));
    const item_kind kind = kind_of_class(message_class ? message_class->wide() : std::wstring());
    const auto save = [stored](const message_record& changed) {
        *stored = settled(changed);
        return HRESULT{S_OK};
    };
    const auto kept = MakeCom<message_object>(*stored, true, save);
    ComPtr<message_object> displayed = kept;
    result.encrypted = is_enveloped(*stored);
    if (result.encrypted) {
        const auto contents = decrypt(*stored, identity_.get(), &result.closed);
        displayed = wrap_enveloped(kept, contents ? &*contents : nullptr);
    }
    const auto opened = MakeCom<item>(kind, displayed);
    ComPtr<IUnknown> loaded;
    opened->QueryInterface(IID_IUnknown, Receive(loaded));

    check_->result = E_FAIL;
    check_->seen = ScanResult::None;
    const auto start = std::chrono::steady_clock::now();
    receiver_->OnItemLoad(loaded.get());
    events_->before_read(loaded.get());
    result.blocked = events_->read_complete(loaded.get());
    const auto spent = std::chrono::steady_clock::now() - start;
    events_->unload(loaded.get());

    result.elapsed_ms =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(spent).count());
    result.result = check_->result;
    result.verdict = check_->seen;
    result.shown = settled(kept->current());
    return result;
}

} // namespace host
