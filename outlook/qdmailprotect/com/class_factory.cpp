#include "outlook/qdmailprotect/com/class_factory.h"

#include "outlook/qdmailprotect/com/com_border.h"

void* ClassFactory::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
}

HRESULT STDMETHODCALLTYPE ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object)
{
    if (!object) {
        return E_POINTER;
    }
    *object = nullptr;
    if (outer) {
        return CLASS_E_NOAGGREGATION;
    }
    return ComBorder("CreateInstance", [&] { return make_()->QueryInterface(iid, object); });
}

HRESULT STDMETHODCALLTYPE ClassFactory::LockServer(BOOL lock)
{
    if (lock != FALSE) {
        LockModule();
    } else {
        UnlockModule();
    }
    return S_OK;
}

HRESULT GetOnlyClassObject(REFCLSID wanted, REFCLSID own, ClassFactory::Maker make, REFIID iid, void** object) noexcept
{
    if (!object) {
        return E_POINTER;
    }
    *object = nullptr;
    if (wanted != own) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return ComBorder("DllGetClassObject", [&] { return MakeCom<ClassFactory>(make)->QueryInterface(iid, object); });
}
