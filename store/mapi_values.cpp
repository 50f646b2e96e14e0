#include "store/mapi_values.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace host {

namespace {

ULONG to_ulong(std::size_t number)
{
    return static_cast<ULONG>(number);
}

wchar_t* copy_text(const std::wstring& text, mapi_buffer& owner)
{
    auto* copy = static_cast<wchar_t*>(owner.more((text.size() + 1) * sizeof(wchar_t)));
    std::memcpy(copy, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    return copy;
}

char* copy_text(const std::string& text, mapi_buffer& owner)
{
    auto* copy = static_cast<char*>(owner.more(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

/// Fills in the union member that corresponds to the type.
class value_writer
{
public:
    value_writer(SPropValue& target, std::uint32_t type, mapi_buffer& owner)
        : value_(target.Value)
        , type_(type)
        , owner_(owner)
    {}

    void operator()(std::monostate) {}
    void operator()(std::int64_t number)
    {
        switch (type_) {
        case PT_I2:
            value_.i = static_cast<short>(number);
            break;
        case PT_BOOLEAN:
            value_.b = static_cast<unsigned short>(number != 0 ? 1 : 0);
            break;
        case PT_LONG:
            value_.l = static_cast<LONG>(number);
            break;
        case PT_ERROR:
            value_.err = static_cast<SCODE>(number);
            break;
        default: // PT_I8, PT_CURRENCY and PT_SYSTIME share the eight bytes
            value_.li.QuadPart = number;
            break;
        }
    }
    void operator()(double number)
    {
        if (type_ == PT_R4) {
            value_.flt = static_cast<float>(number);
        } else {
            value_.dbl = number;
        }
    }
    void operator()(const GUID& identifier)
    {
        value_.lpguid = static_cast<GUID*>(owner_.more(sizeof(GUID)));
        *value_.lpguid = identifier;
    }
    void operator()(const property_value::text& text) { value_.lpszW = copy_text(*text, owner_); }
    void operator()(const bytes_ptr& data)
    {
        if (type_ == PT_UNICODE) {
            value_.lpszW = copy_text(from_utf16le(to_string(*data)), owner_);
            return;
        }
        auto* copy = static_cast<char*>(owner_.more(static_cast<std::size_t>(data->size()) + 1));
        const std::size_t size = read_all(*data, 0, copy, static_cast<std::size_t>(data->size()));
        copy[size] = '\0';
        if (type_ == PT_STRING8) {
            value_.lpszA = copy;
        } else {
            value_.bin.cb = to_ulong(size);
            value_.bin.lpb = reinterpret_cast<BYTE*>(copy);
        }
    }
    void operator()(const std::vector<std::int64_t>& list)
    {
        if (type_ == (PT_LONG | MV_FLAG)) {
            write_numbers(list, value_.MVl.cValues, value_.MVl.lpl);
            return;
        }
        if (type_ == (PT_I2 | MV_FLAG)) {
            write_numbers(list, value_.MVi.cValues, value_.MVi.lpi);
            return;
        }
        value_.MVli.cValues = to_ulong(list.size());
        value_.MVli.lpli = static_cast<LARGE_INTEGER*>(owner_.more(list.size() * sizeof(LARGE_INTEGER)));
        for (std::size_t i = 0; i < list.size(); ++i) {
            value_.MVli.lpli[i].QuadPart = list[i];
        }
    }
    void operator()(const std::vector<double>& list)
    {
        if (type_ == (PT_R4 | MV_FLAG)) {
            write_numbers(list, value_.MVflt.cValues, value_.MVflt.lpflt);
        } else { // PT_DOUBLE and PT_APPTIME share the eight bytes
            write_numbers(list, value_.MVdbl.cValues, value_.MVdbl.lpdbl);
        }
    }
    void operator()(const std::vector<GUID>& list) { write_numbers(list, value_.MVguid.cValues, value_.MVguid.lpguid); }
    void operator()(const storage_ptr&) {} // opens as a storage only
    void operator()(const std::vector<std::wstring>& list)
    {
        value_.MVszW.cValues = to_ulong(list.size());
        value_.MVszW.lppszW = static_cast<wchar_t**>(owner_.more(list.size() * sizeof(wchar_t*)));
        for (std::size_t i = 0; i < list.size(); ++i) {
            value_.MVszW.lppszW[i] = copy_text(list[i], owner_);
        }
    }
    void operator()(const std::vector<std::string>& list)
    {
        if (type_ == (PT_STRING8 | MV_FLAG)) {
            value_.MVszA.cValues = to_ulong(list.size());
            value_.MVszA.lppszA = static_cast<char**>(owner_.more(list.size() * sizeof(char*)));
            for (std::size_t i = 0; i < list.size(); ++i) {
                value_.MVszA.lppszA[i] = copy_text(list[i], owner_);
            }
            return;
        }
        value_.MVbin.cValues = to_ulong(list.size());
        value_.MVbin.lpbin = static_cast<SBinary*>(owner_.more(list.size() * sizeof(SBinary)));
        for (std::size_t i = 0; i < list.size(); ++i) {
            value_.MVbin.lpbin[i].cb = to_ulong(list[i].size());
            value_.MVbin.lpbin[i].lpb = reinterpret_cast<BYTE*>(copy_text(list[i], owner_));
        }
    }

private:
    template <typename Number, typename Target>
    void write_numbers(const std::vector<Number>& list, ULONG& count, Target*& target)
    {
        count = to_ulong(list.size());
        target = static_cast<Target*>(owner_.more(list.size() * sizeof(Target)));
        std::transform(list.begin(), list.end(), target, [](const Number& item) { return static_cast<Target>(item); });
    }

    decltype(SPropValue::Value)& value_;
    std::uint32_t type_;
    mapi_buffer& owner_;
};

bool read_list(const SPropValue& source, std::uint32_t type, property_value& target)
{
    const auto& value = source.Value;
    if (type == (PT_LONG | MV_FLAG)) {
        target.data = std::vector<std::int64_t>(value.MVl.lpl, value.MVl.lpl + value.MVl.cValues);
    } else if (type == (PT_I2 | MV_FLAG)) {
        target.data = std::vector<std::int64_t>(value.MVi.lpi, value.MVi.lpi + value.MVi.cValues);
    } else if (type == (PT_R4 | MV_FLAG)) {
        target.data = std::vector<double>(value.MVflt.lpflt, value.MVflt.lpflt + value.MVflt.cValues);
    } else if (type == (PT_DOUBLE | MV_FLAG) || type == (PT_APPTIME | MV_FLAG)) {
        target.data = std::vector<double>(value.MVdbl.lpdbl, value.MVdbl.lpdbl + value.MVdbl.cValues);
    } else if (type == (PT_CLSID | MV_FLAG)) {
        target.data = std::vector<GUID>(value.MVguid.lpguid, value.MVguid.lpguid + value.MVguid.cValues);
    } else if (type == (PT_I8 | MV_FLAG) || type == (PT_SYSTIME | MV_FLAG) || type == (PT_CURRENCY | MV_FLAG)) {
        std::vector<std::int64_t> list;
        for (ULONG i = 0; i < value.MVli.cValues; ++i) {
            list.push_back(value.MVli.lpli[i].QuadPart);
        }
        target.data = std::move(list);
    } else if (type == (PT_UNICODE | MV_FLAG)) {
        const auto& list = value.MVszW;
        target.data = std::vector<std::wstring>(list.lppszW, list.lppszW + list.cValues);
    } else if (type == (PT_STRING8 | MV_FLAG)) {
        const auto& list = value.MVszA;
        target.data = std::vector<std::string>(list.lppszA, list.lppszA + list.cValues);
    } else if (type == (PT_BINARY | MV_FLAG)) {
        std::vector<std::string> list;
        for (ULONG i = 0; i < value.MVbin.cValues; ++i) {
            const SBinary& item = value.MVbin.lpbin[i];
            list.emplace_back(reinterpret_cast<const char*>(item.lpb), item.cb);
        }
        target.data = std::move(list);
    } else {
        return false;
    }
    return true;
}

} // namespace

mapi_buffer::mapi_buffer(std::size_t size)
{
    void* memory = nullptr;
    if (FAILED(MAPIAllocateBuffer(to_ulong(size), &memory))) {
        throw std::bad_alloc();
    }
    std::memset(memory, 0, size);
    memory_.reset(memory);
}

void* mapi_buffer::more(std::size_t size)
{
    void* memory = nullptr;
    if (FAILED(MAPIAllocateMore(to_ulong(size == 0 ? 1 : size), memory_.get(), &memory))) {
        throw std::bad_alloc();
    }
    std::memset(memory, 0, size == 0 ? 1 : size);
    return memory;
}

void write_value(SPropValue& target, std::uint32_t tag, const property_value& value, mapi_buffer& owner)
{
    target.ulPropTag = CHANGE_PROP_TYPE(tag, value.type);
    target.dwAlignPad = 0;
    std::visit(value_writer(target, value.type, owner), value.data);
}

bool read_value(const SPropValue& source, property_value& target)
{
    const std::uint32_t type = PROP_TYPE(source.ulPropTag);
    target.type = type;
    switch (type) {
    case PT_I2:
        target.data = std::int64_t{source.Value.i};
        return true;
    case PT_LONG:
        target.data = std::int64_t{source.Value.l};
        return true;
    case PT_BOOLEAN:
        target.data = std::int64_t{source.Value.b != 0 ? 1 : 0};
        return true;
    case PT_I8:
    case PT_CURRENCY:
    case PT_SYSTIME:
        target.data = std::int64_t{source.Value.li.QuadPart};
        return true;
    case PT_R4:
        target.data = double{source.Value.flt};
        return true;
    case PT_DOUBLE:
    case PT_APPTIME:
        target.data = source.Value.dbl;
        return true;
    case PT_CLSID:
        if (!source.Value.lpguid) {
            return false;
        }
        target.data = *source.Value.lpguid;
        return true;
    case PT_UNICODE:
        if (!source.Value.lpszW) {
            return false;
        }
        target.data = property_value::of_text(source.Value.lpszW).data;
        return true;
    case PT_STRING8:
        if (!source.Value.lpszA) {
            return false;
        }
        target.data = bytes_of(source.Value.lpszA);
        return true;
    case PT_BINARY:
        if (!source.Value.bin.lpb && source.Value.bin.cb != 0) {
            return false;
        }
        target.data =
            bytes_of(source.Value.bin.cb == 0
                         ? std::string()
                         : std::string(reinterpret_cast<const char*>(source.Value.bin.lpb), source.Value.bin.cb));
        return true;
    default:
        return read_list(source, type, target);
    }
}

SPropTagArray* make_tag_array(const std::vector<std::uint32_t>& tags)
{
    mapi_buffer buffer(sizeof(SPropTagArray) + tags.size() * sizeof(ULONG));
    auto* array = buffer.as<SPropTagArray>();
    array->cValues = to_ulong(tags.size());
    for (std::size_t i = 0; i < tags.size(); ++i) {
        array->aulPropTag[i] = tags[i];
    }
    return buffer.release<SPropTagArray>();
}

} // namespace host
