#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/object_ledger.h"

#include <functional>

namespace host {

/// Creates an object. The caller owns the reference. An exception becomes a failure of the creation.
using object_maker = std::function<HRESULT(IUnknown** object)>;

/// A class object that creates objects by calling a function.
class class_object final : public ComObject<IClassFactory>
{
public:
    explicit class_object(object_maker make);

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    object_maker make_;
    ledger_entry entry_{"class object", static_cast<IClassFactory*>(this)};
};

/// Registers a class in the apartment of the constructing thread for the lifetime of the object.
class registered_class
{
public:
    /// Throws std::runtime_error.
    registered_class(REFCLSID id, object_maker make);
    registered_class(const registered_class&) = delete;
    registered_class& operator=(const registered_class&) = delete;
    ~registered_class();

private:
    DWORD cookie_ = 0;
};

} // namespace host
