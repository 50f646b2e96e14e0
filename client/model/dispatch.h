#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/guard.h"

#include <string_view>
#include <vector>

namespace host {

/// One property of a late bound object.
struct dispatch_property
{
    DISPID id;
    std::wstring_view name;
};

/// Late binding for the objects of the mail client's model: gets of a few properties, by number or by name. Used to
/// implement IDispatch::Invoke and GetIDsOfNames.
HRESULT find_names(const std::vector<dispatch_property>& properties, REFIID iid, LPOLESTR* names, UINT count,
                   DISPID* identifiers);
/// Validates a call as a strict server does. Returns S_OK for a property get; the caller then obtains the value.
HRESULT check_property_get(REFIID iid, WORD flags, const DISPPARAMS* parameters);

/// Implements IDispatch for a class that supplies its properties and their values. There is no type information.
template <typename... More>
class dispatch_object : public ComObject<IDispatch, More...>
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        if (!count) {
            return E_POINTER;
        }
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override
    {
        if (info) {
            *info = nullptr;
        }
        return DISP_E_BADINDEX;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID, DISPID* identifiers) override
    {
        return guarded([&] { return find_names(properties(), iid, names, count, identifiers); });
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                                     EXCEPINFO*, UINT*) override
    {
        const HRESULT checked = check_property_get(iid, flags, parameters);
        if (FAILED(checked)) {
            return checked;
        }
        VARIANT value;
        VariantInit(&value);
        const HRESULT got = guarded([&] { return get(id, value); });
        if (FAILED(got) || !result) {
            VariantClear(&value);
            return got;
        }
        *result = value;
        return S_OK;
    }

protected:
    [[nodiscard]] virtual const std::vector<dispatch_property>& properties() const = 0;
    /// Obtains the value of a property. Returns DISP_E_MEMBERNOTFOUND if it does not exist. `value` is empty on
    /// failure.
    virtual HRESULT get(DISPID id, VARIANT& value) = 0;
};

/// Stores a text in `value`.
HRESULT put_text(std::wstring_view text, VARIANT& value);
/// Stores an object in `value` and adds a reference to it.
void put_object(IUnknown* object, VARIANT& value);

} // namespace host
