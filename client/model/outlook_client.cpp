#include "client/model/outlook_client.h"

#include "mail/smime/secured_message.h"

#include <chrono>
#include <utility>

namespace host {

namespace {

item_kind kind_of(const message_record& message)
{
    const property_value* message_class = message.properties->find(PROP_ID(PR_MESSAGE_CLASS_W));
    return kind_of_class(message_class ? message_class->wide() : std::wstring());
}

} // namespace

outlook_client::outlook_client(ComPtr<application> client, check_outcome& outcome, envelope_opener open_envelope)
    : client_(std::move(client))
    , outcome_(outcome)
    , open_envelope_(std::move(open_envelope))
{}

ComPtr<message_object> outlook_client::displayed(const message_record& stored, const ComPtr<message_object>& kept,
                                                 std::string& closed, message_record& contents) const
{
    if (!is_enveloped(stored)) {
        contents = stored;
        return kept;
    }
    std::optional<message_record> inner;
    if (open_envelope_) {
        inner = open_envelope_(stored, closed);
    } else {
        closed = "it is encrypted, and its contents were not given";
    }
    if (!inner) {
        return wrap_enveloped(kept, nullptr);
    }
    contents = shown_contents(stored, *inner);
    return wrap_enveloped(kept, &contents);
}

opening outlook_client::open(const std::shared_ptr<message_record>& stored)
{
    const auto save = [stored](const message_record& changed) {
        *stored = settled(changed.copy());
        return HRESULT{S_OK};
    };
    opening result;
    const auto kept = MakeCom<message_object>(*stored, true, save);
    result.encrypted = is_enveloped(*stored);
    message_record contents;
    const ComPtr<message_object> seen = displayed(*stored, kept, result.closed, contents);
    const auto item = MakeCom<outlook_item>(interface_of_kind(kind_of(*stored)),
                                            ComPtr<IUnknown>(static_cast<IMessage*>(seen.get())));
    outcome_.take();
    outcome_.answers().begin(contents);
    const auto start = std::chrono::steady_clock::now();
    client_->item_load(item.get());
    item->before_read();
    item->read();
    result.blocked = item->read_complete();
    const auto spent = std::chrono::steady_clock::now() - start;
    if (!result.blocked) {
        item->open();
    }
    item->close();
    item->unload();

    result.elapsed_ms =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(spent).count());
    const check_outcome::result outcome = outcome_.take();
    result.result = outcome.check;
    result.verdict = outcome.verdict;
    result.answers = outcome_.answers().finish(result.result);
    result.shown = settled(kept->current().copy());
    return result;
}

} // namespace host
