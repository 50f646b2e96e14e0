#pragma once

#include "outlook/qdmailprotect/com/com_border.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Loads the description of an interface from the module's own type library.
HRESULT LoadTypeInformation(REFIID iid, ComPtr<ITypeInfo>& information);

/// Implements IDispatch for an interface that derives from it, using the description in the type library.
template <typename Interface, const IID& Identifier>
class DispatchByDescription : public Interface
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        if (!count) {
            return E_POINTER;
        }
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** information) override
    {
        if (!information) {
            return E_POINTER;
        }
        *information = nullptr;
        if (index != 0) {
            return DISP_E_BADINDEX;
        }
        return ComBorder("GetTypeInfo", [&] {
            ComPtr<ITypeInfo> loaded;
            const HRESULT result = LoadTypeInformation(Identifier, loaded);
            *information = loaded.detach();
            return result;
        });
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID, DISPID* identifiers) override
    {
        if (iid != IID_NULL) {
            return DISP_E_UNKNOWNINTERFACE;
        }
        return ComBorder("GetIDsOfNames", [&] {
            ComPtr<ITypeInfo> loaded;
            const HRESULT result = LoadTypeInformation(Identifier, loaded);
            return FAILED(result) ? result : DispGetIDsOfNames(loaded.get(), names, count, identifiers);
        });
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* value, EXCEPINFO* exception, UINT* argument) override
    {
        if (iid != IID_NULL) {
            return DISP_E_UNKNOWNINTERFACE;
        }
        return ComBorder("Invoke", [&] {
            ComPtr<ITypeInfo> loaded;
            const HRESULT result = LoadTypeInformation(Identifier, loaded);
            return FAILED(result) ? result
                                  : DispInvoke(static_cast<Interface*>(this), loaded.get(), member, flags, parameters,
                                               value, exception, argument);
        });
    }

protected:
    DispatchByDescription() = default;
    ~DispatchByDescription() = default;
};
