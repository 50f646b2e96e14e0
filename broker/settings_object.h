#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace broker {

/// Stores bytes in `value` as an array.
HRESULT put_bytes(const std::vector<std::uint8_t>& bytes, VARIANT& value);

/// The interface that the add-in calls: method 2 with the argument 1 returns the settings as an array of bytes. Late
/// bound only, without type information. Thread-safe.
class settings_object : public ComObject<IDispatch>
{
public:
    static constexpr DISPID load_method = 2;
    static constexpr LONG load_argument = 1;
    /// Sets the result of the method. Called on each call of the method. An exception becomes a failure of the call.
    using answer = std::function<HRESULT(VARIANT& value)>;

    explicit settings_object(answer settings);

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* identifiers) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    answer settings_;
};

} // namespace broker
