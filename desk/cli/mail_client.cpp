#include "desk/cli/mail_client.h"

#include "logging/logging.h"
#include "store/item.h"

#include <chrono>
#include <optional>
#include <string_view>
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

/// Passes the log lines of this process to a record, while the object exists.
class mail_client::heard_lines
{
public:
    explicit heard_lines(std::shared_ptr<answer_record> record)
        : sink_(std::make_shared<sink>(std::move(record)))
    {
        logging::log_manager::default_manager().add_sink(sink_, answer_record::required_level);
    }
    heard_lines(const heard_lines&) = delete;
    heard_lines& operator=(const heard_lines&) = delete;
    ~heard_lines() { logging::log_manager::default_manager().remove_sink(sink_); }

private:
    class sink final : public logging::line_sink
    {
    public:
        explicit sink(std::shared_ptr<answer_record> record)
            : record_(std::move(record))
        {}
        void write(logging::priority::level_type, std::string_view logger_name, std::string_view text) override
        {
            record_->hear(logger_name, text);
        }

    private:
        std::shared_ptr<answer_record> record_;
    };

    std::shared_ptr<sink> sink_;
};

mail_client::mail_client(std::shared_ptr<MessageCheck> check, std::shared_ptr<const smime_identity> identity,
                         std::shared_ptr<answer_record> answers)
    : check_(std::make_shared<observed_check>(std::move(check)))
    , answers_(answers ? std::move(answers) : std::make_shared<answer_record>())
    , lines_(std::make_unique<heard_lines>(answers_))
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
    static const message_record nothing;
    // The record is known at the end; a default one would have a store and properties of its own.
    opening result{S_OK, ScanResult::None, false, 0, {nullptr, nullptr, {}, {}, nullptr}, {}, false, {}};
    const property_value* message_class = stored->properties->find(PROP_ID(PR_MESSAGE_CLASS_W));
    std::wstring kept_class;
    const item_kind kind = kind_of_class(message_class ? message_class->wide_view(kept_class) : std::wstring_view());
    const auto save = [stored](const message_record& changed) {
        *stored = settled(changed.copy());
        return HRESULT{S_OK};
    };
    const auto kept = MakeCom<message_object>(*stored, true, save);
    ComPtr<message_object> displayed = kept;
    std::optional<message_record> contents;
    result.encrypted = is_enveloped(*stored);
    if (result.encrypted) {
        contents = decrypt(*stored, identity_.get(), &result.closed);
        displayed = wrap_enveloped(kept, contents ? &*contents : nullptr);
    }
    const auto opened = MakeCom<item>(kind, displayed);
    ComPtr<IUnknown> loaded;
    opened->QueryInterface(IID_IUnknown, Receive(loaded));

    check_->result = E_FAIL;
    check_->seen = ScanResult::None;
    const message_record& checked = !result.closed.empty() ? nothing : contents ? *contents : *stored;
    answers_->begin(checked);
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
    result.answers = answers_->finish(result.result);
    result.shown = settled(kept->current().last_state());
    return result;
}

} // namespace host
