#pragma once

#include "store/outlook_bases.h"
#include "tests/outlook/qdmailprotect/support/scripted_store.h"

namespace test {

/// An object that implements only IUnknown, and claims one more interface without implementing it.
class scripted_object final : public ComObject<IUnknown>, private scripted
{
public:
    explicit scripted_object(scripted_store& store, std::string name = "object", const IID& also = IID_IUnknown)
        : scripted(store, std::move(name))
        , also_(also)
    {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        return query(iid, object, [&] { return ComObject::QueryInterface(iid, object); });
    }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == also_ ? static_cast<IUnknown*>(this) : nullptr;
    }

private:
    IID also_;
};

/// An item of the mail client over an object. Its operations are "item.get_MAPIOBJECT" and queries for interfaces.
class scripted_item final : public OutlookItemBase, private scripted
{
public:
    scripted_item(scripted_store& store, const IID& kind, ComPtr<IUnknown> object)
        : OutlookItemBase(kind)
        , scripted(store, "item")
        , object_(std::move(object))
    {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        return query(iid, object, [&] { return OutlookItemBase::QueryInterface(iid, object); });
    }
    [[nodiscard]] ComPtr<IUnknown> reference() noexcept
    {
        return ComPtr<IUnknown>(static_cast<OutlookItemInterface*>(this));
    }

protected:
    HRESULT MapiObject(IUnknown** object) override
    {
        return run("get_MAPIOBJECT", [&] {
            *object = ComPtr<IUnknown>(object_).detach();
            return S_OK;
        });
    }

private:
    ComPtr<IUnknown> object_;
};

} // namespace test
