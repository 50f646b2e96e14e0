#include "outlook/qdmailprotect/access/properties.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "tool/system/conversions.h"
#include "tool/system/time_text.h"

#include <string_view>

namespace {

template <typename Text>
Text HexText(const SBinary& bytes)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    Text text;
    text.reserve(std::size_t{bytes.cb} * 2);
    for (ULONG i = 0; i < bytes.cb; ++i) {
        text.push_back(static_cast<typename Text::value_type>(digits[bytes.lpb[i] >> 4]));
        text.push_back(static_cast<typename Text::value_type>(digits[bytes.lpb[i] & 0x0F]));
    }
    return text;
}

bool TimeText(const FILETIME& moment, std::wstring& text)
{
    const std::uint64_t ticks = std::uint64_t{moment.dwHighDateTime} << 32 | moment.dwLowDateTime;
    std::wstring date;
    std::wstring time;
    if (!winapi::format_local_time(ticks, date, time)) {
        return false;
    }
    text = date + L' ' + time;
    return true;
}

bool HasBytes(const SBinary& bytes)
{
    return bytes.cb != 0 && bytes.lpb;
}

} // namespace

bool GetProp(IMAPIProp* object, ULONG tag, SCODE* error, MapiBuffer<SPropValue>& value)
{
    if (!object) {
        return false;
    }
    SPropTagArray tags{1, {tag}};
    ULONG count = 0;
    SPropValue* values = nullptr;
    const HRESULT result = object->GetProps(&tags, MAPI_UNICODE, &count, &values);
    value.reset(values);
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200,
                 "Failed to get prop 0x" << winapi::hex32(tag) << ", hr=0x" << HexResult(result));
        return false;
    }
    if (!value || count == 0 || PROP_ID(value->ulPropTag) != PROP_ID(tag)) {
        return false;
    }
    if (PROP_TYPE(value->ulPropTag) == PT_ERROR) {
        const SCODE code = value->Value.err;
        if (error) {
            *error = code;
        }
        LOG_LINE(logging::outlook_log(), 200,
                 "Error getting prop 0x" << winapi::hex32(tag) << ", err=0x" << HexResult(code));
        return false;
    }
    return true;
}

bool GetPropLong(IMAPIProp* object, ULONG tag, std::uint32_t& value, SCODE* error)
{
    MapiBuffer<SPropValue> property;
    if (!GetProp(object, tag, error, property)) {
        return false;
    }
    value = property->Value.ul;
    return true;
}

bool GetPropNarrowString(IMAPIProp* object, ULONG tag, std::string& value, SCODE* error)
{
    MapiBuffer<SPropValue> property;
    if (!GetProp(object, tag, error, property)) {
        return false;
    }
    switch (PROP_TYPE(property->ulPropTag)) {
    case PT_STRING8:
        value = property->Value.lpszA ? property->Value.lpszA : "";
        return true;
    case PT_BINARY:
        if (!HasBytes(property->Value.bin)) {
            return false;
        }
        value = HexText<std::string>(property->Value.bin);
        return true;
    case PT_SYSTIME: {
        std::wstring text;
        if (!TimeText(property->Value.ft, text)) {
            return false;
        }
        value = winapi::conv_to_char(text);
        return true;
    }
    default:
        return true;
    }
}

bool GetPropWideString(IMAPIProp* object, ULONG tag, std::wstring& value, SCODE* error)
{
    MapiBuffer<SPropValue> property;
    if (!GetProp(object, tag, error, property)) {
        return false;
    }
    switch (PROP_TYPE(property->ulPropTag)) {
    case PT_UNICODE:
        value = property->Value.lpszW ? property->Value.lpszW : L"";
        return true;
    case PT_BINARY:
        if (!HasBytes(property->Value.bin)) {
            return false;
        }
        value = HexText<std::wstring>(property->Value.bin);
        return true;
    case PT_SYSTIME:
        return TimeText(property->Value.ft, value);
    default:
        return true;
    }
}

HRESULT SetPropLong(IMAPIProp* object, ULONG tag, std::uint32_t value)
{
    SPropValue property{};
    property.ulPropTag = tag;
    property.Value.ul = value;
    return object->SetProps(1, &property, nullptr);
}

HRESULT SetPropBool(IMAPIProp* object, ULONG tag, bool value)
{
    SPropValue property{};
    property.ulPropTag = tag;
    property.Value.b = value ? 1 : 0;
    return object->SetProps(1, &property, nullptr);
}

HRESULT SetPropWideString(IMAPIProp* object, ULONG tag, const std::wstring& value)
{
    SPropValue property{};
    property.ulPropTag = tag;
    property.Value.lpszW = const_cast<wchar_t*>(value.c_str()); // the store does not modify it
    return object->SetProps(1, &property, nullptr);
}

HRESULT DeleteProp(IMAPIProp* object, ULONG tag)
{
    SPropTagArray tags{1, {tag}};
    return object->DeleteProps(&tags, nullptr);
}

HRESULT OpenObject(IMAPIProp* object, ULONG tag, const IID& iid, ComPtr<IUnknown>& opened)
{
    return object->OpenProperty(tag, &iid, 0, 0, Receive(opened));
}
