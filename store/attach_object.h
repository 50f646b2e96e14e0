#pragma once

#include "store/object_ledger.h"
#include "store/property_access.h"

namespace host {

/// One open attachment. It works on a copy: the message is not changed before SaveChanges. After a SaveChanges without
/// KEEP_OPEN_READWRITE, operations that change it return MAPI_E_NO_ACCESS.
class attach_object final : public property_object<IAttach>
{
public:
    attach_object(std::shared_ptr<store_context> store, std::uint32_t number, attachment_record record, bool writable,
                  attachment_commit commit);

    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) override;

protected:
    void* FindInterface(REFIID iid) override;
    property_access& access() override { return access_; }
    HRESULT open_object(ULONG tag, REFIID iid, ULONG flags, IUnknown** object) override;

private:
    class properties final : public property_access
    {
    public:
        properties(const attach_object& owner, std::shared_ptr<store_context> store, std::shared_ptr<property_bag> bag,
                   bool writable)
            : property_access(std::move(store), std::move(bag), writable)
            , owner_(owner)
        {}

    protected:
        [[nodiscard]] std::optional<property_value> computed(std::uint32_t id) const override;
        [[nodiscard]] std::vector<std::uint32_t> computed_ids() const override;

    private:
        const attach_object& owner_;
    };

    /// Opens the storage of an OLE object for reading only.
    HRESULT open_storage(ULONG flags, IUnknown** object) const;

    std::uint32_t number_;
    std::shared_ptr<attachment_record> record_; ///< shared with open embedded messages, which commit to it
    attachment_commit commit_;
    properties access_;
    ledger_entry entry_{"IAttach", static_cast<IAttach*>(this)};
};

} // namespace host
