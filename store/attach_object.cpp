#include "store/attach_object.h"

#include "store/guard.h"
#include "store/message_object.h"
#include "store/storage_object.h"

#include <utility>

namespace host {

attach_object::attach_object(std::shared_ptr<store_context> store, std::uint32_t number, attachment_record record,
                             bool writable, attachment_commit commit)
    : number_(number)
    , record_(std::make_shared<attachment_record>(std::move(record)))
    , commit_(std::move(commit))
    , access_(*this, std::move(store), record_->properties, writable)
{}

void* attach_object::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IAttachment) {
        return static_cast<IAttach*>(this);
    }
    return nullptr;
}

std::optional<property_value> attach_object::properties::computed(std::uint32_t id) const
{
    if (id == PROP_ID(PR_ATTACH_NUM)) {
        return property_value::of_long(owner_.number_);
    }
    if (id == PROP_ID(PR_ATTACH_SIZE)) {
        return property_value::of_long(static_cast<std::int64_t>(owner_.record_->size()));
    }
    if (id == PROP_ID(PR_ATTACH_DATA_OBJ) && owner_.record_->embedded) {
        return property_value{PT_OBJECT, {}};
    }
    return {};
}

std::vector<std::uint32_t> attach_object::properties::computed_ids() const
{
    return {PROP_ID(PR_ATTACH_NUM), PROP_ID(PR_ATTACH_SIZE), PROP_ID(PR_ATTACH_DATA_OBJ)};
}

HRESULT attach_object::SaveChanges(ULONG flags)
{
    return guarded([&] {
        if (!access_.writable()) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        const HRESULT result = commit_(record_->copy());
        if (SUCCEEDED(result) && (flags & KEEP_OPEN_READWRITE) == 0) {
            access_.writable(false);
        }
        return result;
    });
}

HRESULT attach_object::open_storage(ULONG flags, IUnknown** object) const
{
    if ((flags & (MAPI_MODIFY | MAPI_CREATE)) != 0) {
        return MAPI_E_NO_SUPPORT;
    }
    const property_value* value = access_.bag().find(PROP_ID(PR_ATTACH_DATA_OBJ));
    const auto* storage = value ? std::get_if<storage_ptr>(&value->data) : nullptr;
    if (!storage) {
        return record_->embedded ? MAPI_E_INTERFACE_NOT_SUPPORTED : MAPI_E_NOT_FOUND;
    }
    *object = make_storage_object(*storage).detach();
    return S_OK;
}

HRESULT attach_object::open_object(ULONG tag, REFIID iid, ULONG flags, IUnknown** object)
{
    return guarded([&] {
        if (tag == PR_ATTACH_DATA_OBJ && iid == IID_IStorage) {
            return open_storage(flags, object);
        }
        if (tag != PR_ATTACH_DATA_OBJ || !(iid == IID_IMessage)) {
            return HRESULT{MAPI_E_INTERFACE_NOT_SUPPORTED};
        }
        if ((flags & MAPI_MODIFY) != 0 && !access_.writable()) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        message_record fresh;
        fresh.store = access_.store();
        const bool create = (flags & MAPI_CREATE) != 0;
        if (!create && !record_->embedded) {
            return HRESULT{MAPI_E_NOT_FOUND};
        }
        const auto commit = [record = record_](const message_record& changed) {
            record->embedded = std::make_shared<const message_record>(changed.copy());
            return HRESULT{S_OK};
        };
        const bool writable = access_.writable() && may_write(*access_.store(), flags);
        *object = MakeCom<message_object>(create ? fresh : *record_->embedded, writable, commit).detach();
        return HRESULT{S_OK};
    });
}

} // namespace host
