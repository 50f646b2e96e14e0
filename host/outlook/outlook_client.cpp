#include "host/outlook/outlook_client.h"

#include "host/store/message_object.h"

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

outlook_client::outlook_client(ComPtr<application> client, check_outcome& outcome)
    : client_(std::move(client))
    , outcome_(outcome)
{}

opening outlook_client::open(const std::shared_ptr<message_record>& stored)
{
    const auto save = [stored](const message_record& changed) {
        *stored = changed.copy();
        return HRESULT{S_OK};
    };
    const auto message = MakeCom<message_object>(*stored, true, save);
    const auto item = MakeCom<outlook_item>(interface_of_kind(kind_of(*stored)),
                                            ComPtr<IUnknown>(static_cast<IMessage*>(message.get())));
    outcome_.take();
    opening result;
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
    result.shown = message->current().copy();
    return result;
}

} // namespace host
