#pragma once

#include "outlook/qdmailprotect/com/module_lifetime.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

namespace host {

// {5F0B6E6C-3C0E-4C0B-9A53-2E4B7B8D61A7}
inline constexpr CLSID security_layer_provider_id{
    0x5F0B6E6C, 0x3C0E, 0x4C0B, {0x9A, 0x53, 0x2E, 0x4B, 0x7B, 0x8D, 0x61, 0xA7}};

/// Stands in for the product's broker: method 2 with the number 1 gives the settings as an array of bytes. Late bound
/// only, without type information. May be used on any thread.
class security_layer_provider final : public ComObject<IDispatch>
{
public:
    static constexpr DISPID load_method = 2;
    static constexpr LONG load_argument = 1;

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* identifiers) override;
    /// What the configuration asks for, read anew at each call.
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    ModuleReference module_;
};

} // namespace host
