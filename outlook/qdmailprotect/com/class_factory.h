#pragma once

#include "outlook/qdmailprotect/com/module_lifetime.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

/// Creates the objects of one class.
class ClassFactory final : public ComObject<IClassFactory>
{
public:
    /// Creates one object. May throw.
    using Maker = ComPtr<IUnknown> (*)();

    explicit ClassFactory(Maker make) noexcept
        : make_(make)
    {}

    /// Returns CLASS_E_NOAGGREGATION if `outer` is not null.
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    ModuleReference module_;
    Maker make_;
};

/// What DllGetClassObject of a module with one class returns: a factory of the objects that `make` creates, or
/// CLASS_E_CLASSNOTAVAILABLE if `wanted` is not `own`.
[[nodiscard]] HRESULT GetOnlyClassObject(REFCLSID wanted, REFCLSID own, ClassFactory::Maker make, REFIID iid,
                                         void** object) noexcept;
