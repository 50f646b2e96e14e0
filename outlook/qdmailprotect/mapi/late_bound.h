#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <string>

// Windows only.

/// A VARIANT that is cleared at the end of its scope.
class Variant
{
public:
    Variant() { VariantInit(&value_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { VariantClear(&value_); }
    VARIANT* operator&() noexcept { return &value_; }
    VARIANT* operator->() noexcept { return &value_; }
    const VARIANT& operator*() const noexcept { return value_; }

private:
    VARIANT value_;
};

/// Reads a property by its dispatch identifier.
HRESULT GetLateBound(IDispatch* object, DISPID id, Variant& value);
/// Reads a text property; returns DISP_E_TYPEMISMATCH for another type.
HRESULT GetLateBoundText(IDispatch* object, DISPID id, std::wstring& text);
