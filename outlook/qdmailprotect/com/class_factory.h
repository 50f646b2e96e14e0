#pragma once

#include "outlook/qdmailprotect/com/module_lifetime.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

/// Makes the objects of one class.
class ClassFactory final : public ComObject<IClassFactory>
{
public:
    /// Makes one object; may raise.
    using Maker = ComPtr<IUnknown> (*)();

    explicit ClassFactory(Maker make) noexcept
        : make_(make)
    {}

    /// CLASS_E_NOAGGREGATION for an `outer` object.
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    ModuleReference module_;
    Maker make_;
};
