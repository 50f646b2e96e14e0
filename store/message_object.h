#pragma once

#include "store/object_ledger.h"
#include "store/property_access.h"

namespace host {

/// One open message. It works on a copy: neither the store nor the message that contains it is changed before
/// SaveChanges; until then the object itself presents the changes, as a client displays them. It remains usable after
/// SaveChanges. Open objects of its attachments and its tables may outlive it.
class message_object : public property_object<IMessage>
{
public:
    message_object(const message_record& record, bool writable, message_commit commit);

    /// Returns the current state of the message, including unsaved changes.
    [[nodiscard]] const message_record& current() const noexcept { return *record_; }

    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, LPMAPITABLE* table) override;
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, LPCIID iid, ULONG flags, LPATTACH* attach) override;
    HRESULT STDMETHODCALLTYPE CreateAttach(LPCIID iid, ULONG flags, ULONG* number, LPATTACH* attach) override;
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG number, ULONG ui, LPMAPIPROGRESS progress, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG flags, LPMAPITABLE* table) override;
    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG flags, LPADRLIST changes) override;
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG flags) override;
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG flags) override;

protected:
    void* FindInterface(REFIID iid) override;
    property_access& access() override { return access_; }
    HRESULT open_object(ULONG tag, REFIID iid, ULONG flags, IUnknown** object) override;

private:
    class properties final : public property_access
    {
    public:
        properties(const message_record& record, std::shared_ptr<property_bag> bag, bool writable)
            : property_access(record.store, std::move(bag), writable)
            , record_(record)
        {}

    protected:
        [[nodiscard]] std::optional<property_value> computed(std::uint32_t id) const override;
        [[nodiscard]] std::vector<std::uint32_t> computed_ids() const override;

    private:
        const message_record& record_;
    };

    [[nodiscard]] attachment_commit commit_to(std::uint32_t number, bool created) const;

    std::shared_ptr<message_record> record_;
    message_commit commit_;
    properties access_;
    std::uint32_t next_number_;
    ledger_entry entry_{"IMessage", static_cast<IMessage*>(this)};
};

} // namespace host
