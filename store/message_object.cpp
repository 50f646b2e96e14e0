#include "store/message_object.h"

#include "store/attach_object.h"
#include "store/guard.h"
#include "store/row_table.h"
#include "store/tags.h"

#include <cstddef>
#include <iterator>
#include <utility>

namespace host {

namespace {

std::vector<std::uint32_t> attachment_columns()
{
    return {PR_ATTACH_NUM,          PR_ATTACH_SIZE,       PR_ATTACH_METHOD,          PR_RENDERING_POSITION,
            PR_DISPLAY_NAME_W,      PR_ATTACH_FILENAME_W, PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_MIME_TAG_W,
            PR_ATTACH_CONTENT_ID_W, PR_ATTACHMENT_HIDDEN};
}

std::vector<std::uint32_t> recipient_columns()
{
    return {PR_RECIPIENT_TYPE, PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W, tag::address_type};
}

/// Returns the attachments as rows, each with the number and the size, which are not stored as properties.
row_source attachment_rows(const std::shared_ptr<message_record>& message)
{
    return {[message] { return message->attachments.size(); },
            [message](std::size_t first, std::size_t last) {
                std::vector<row_source::row> rows;
                auto next = std::next(message->attachments.begin(), static_cast<std::ptrdiff_t>(first));
                for (std::size_t i = first; i < last; ++i, ++next) {
                    const auto& [number, attachment] = *next;
                    auto row = std::make_shared<property_bag>(*attachment.properties);
                    row->set(PR_ATTACH_NUM, property_value::of_long(number));
                    row->set(PR_ATTACH_SIZE, property_value::of_long(static_cast<std::int64_t>(attachment.size())));
                    rows.push_back(std::move(row));
                }
                return rows;
            }};
}

row_source recipient_rows(const std::shared_ptr<message_record>& message)
{
    return {[message] { return message->recipients.size(); },
            [message](std::size_t first, std::size_t last) {
                const auto begin = message->recipients.begin();
                return std::vector<row_source::row>(begin + static_cast<std::ptrdiff_t>(first),
                                                    begin + static_cast<std::ptrdiff_t>(last));
            }};
}

} // namespace

message_object::message_object(const message_record& record, bool writable, message_commit commit)
    : record_(std::make_shared<message_record>(record.copy()))
    , commit_(std::move(commit))
    , access_(*record_, record_->properties, writable)
    , next_number_(record_->attachments.empty() ? 0 : record_->attachments.rbegin()->first + 1)
{}

void* message_object::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IMessage) {
        return static_cast<IMessage*>(this);
    }
    return nullptr;
}

std::optional<property_value> message_object::properties::computed(std::uint32_t id) const
{
    if (id == PROP_ID(PR_HASATTACH)) {
        return property_value::of_bool(!record_.attachments.empty());
    }
    if (id == PROP_ID(tag::message_size)) {
        return property_value::of_long(static_cast<std::int64_t>(record_.size()));
    }
    return {};
}

std::vector<std::uint32_t> message_object::properties::computed_ids() const
{
    return {PROP_ID(PR_HASATTACH), PROP_ID(tag::message_size)};
}

HRESULT message_object::SaveChanges(ULONG)
{
    return guarded([&] { return access_.writable() ? commit_(*record_) : HRESULT{MAPI_E_NO_ACCESS}; });
}

HRESULT message_object::open_object(ULONG, REFIID, ULONG, IUnknown**)
{
    return MAPI_E_INTERFACE_NOT_SUPPORTED;
}

HRESULT message_object::GetAttachmentTable(ULONG, LPMAPITABLE* table)
{
    return guarded([&] {
        if (!table) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        *table = MakeCom<row_table>(attachment_rows(record_), attachment_columns()).detach();
        return HRESULT{S_OK};
    });
}

attachment_commit message_object::commit_to(std::uint32_t number, bool created) const
{
    return [record = record_, number, created](const attachment_record& changed) {
        const auto found = record->attachments.find(number);
        if (found == record->attachments.end() && !created) {
            return HRESULT{MAPI_E_OBJECT_DELETED};
        }
        record->attachments.insert_or_assign(number, changed);
        return HRESULT{S_OK};
    };
}

HRESULT message_object::OpenAttach(ULONG number, LPCIID iid, ULONG flags, LPATTACH* attach)
{
    return guarded([&] {
        if (!attach) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        *attach = nullptr;
        if (iid && !(*iid == IID_IAttachment) && !(*iid == IID_IMAPIProp)) {
            return HRESULT{MAPI_E_INTERFACE_NOT_SUPPORTED};
        }
        const auto found = record_->attachments.find(number);
        if (found == record_->attachments.end()) {
            return HRESULT{MAPI_E_NOT_FOUND};
        }
        if ((flags & MAPI_MODIFY) != 0 && !access_.writable()) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        const bool writable = access_.writable() && may_write(*record_->store, flags);
        *attach =
            MakeCom<attach_object>(record_->store, number, found->second.copy(), writable, commit_to(number, false))
                .detach();
        return HRESULT{S_OK};
    });
}

HRESULT message_object::CreateAttach(LPCIID iid, ULONG, ULONG* number, LPATTACH* attach)
{
    return guarded([&] {
        if (!number || !attach) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        *attach = nullptr;
        if (iid && !(*iid == IID_IAttachment)) {
            return HRESULT{MAPI_E_INTERFACE_NOT_SUPPORTED};
        }
        if (!access_.writable()) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        *attach = MakeCom<attach_object>(record_->store, next_number_, attachment_record{}, true,
                                         commit_to(next_number_, true))
                      .detach();
        *number = next_number_++;
        return HRESULT{S_OK};
    });
}

HRESULT message_object::DeleteAttach(ULONG number, ULONG, LPMAPIPROGRESS, ULONG)
{
    return guarded([&] {
        if (!access_.writable()) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        return record_->attachments.erase(number) != 0 ? HRESULT{S_OK} : HRESULT{MAPI_E_NOT_FOUND};
    });
}

HRESULT message_object::GetRecipientTable(ULONG, LPMAPITABLE* table)
{
    return guarded([&] {
        if (!table) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        *table = MakeCom<row_table>(recipient_rows(record_), recipient_columns()).detach();
        return HRESULT{S_OK};
    });
}

HRESULT message_object::ModifyRecipients(ULONG, LPADRLIST)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT message_object::SubmitMessage(ULONG)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT message_object::SetReadFlag(ULONG)
{
    return MAPI_E_NO_SUPPORT;
}

} // namespace host
