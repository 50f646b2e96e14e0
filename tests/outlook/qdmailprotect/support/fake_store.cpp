#include "tests/outlook/qdmailprotect/support/fake_store.h"

#include <algorithm>
#include <cstring>

namespace test {

namespace {

void* more(void* owner, std::size_t size)
{
    void* memory = nullptr;
    if (FAILED(MAPIAllocateMore(static_cast<ULONG>(std::max<std::size_t>(size, 1)), owner, &memory))) {
        throw std::bad_alloc();
    }
    return memory;
}

std::string key_of(const MAPINAMEID& name)
{
    std::string key = std::to_string(name.lpguid->Data1) + ":";
    if (name.ulKind == MNID_ID) {
        return key + std::to_string(name.Kind.lID);
    }
    for (const wchar_t* letter = name.Kind.lpwstrName; *letter; ++letter) {
        key += static_cast<char>(*letter);
    }
    return key;
}

void add_wide(std::vector<fake_value>& row, ULONG tag, const std::wstring& text)
{
    if (!text.empty()) {
        row.push_back({tag, 0, text, nullptr, nullptr});
    }
}

} // namespace

void fake_store::script(const std::string& operation, HRESULT result, int nth)
{
    script_[{operation, calls(operation) + nth}] = result;
}

bool fake_store::scripted(const std::string& operation, HRESULT& result)
{
    const int call = ++calls_[operation];
    if (const auto entry = script_.find({operation, call}); entry != script_.end()) {
        result = entry->second;
        return true;
    }
    if (const auto entry = always_.find(operation); entry != always_.end()) {
        result = entry->second;
        return true;
    }
    return false;
}

int fake_store::calls(const std::string& operation) const
{
    const auto entry = calls_.find(operation);
    return entry == calls_.end() ? 0 : entry->second;
}

ULONG fake_store::identifier(const MAPINAMEID& name)
{
    const std::string key = key_of(name);
    name_order_.push_back(key);
    return names_.emplace(key, 0x8000 + static_cast<ULONG>(names_.size())).first->second;
}

ULONG fake_store::verdict_tag() const
{
    const auto entry = names_.find(std::to_string(0x876FC580U) + ":1");
    return entry == names_.end() ? 0 : PROP_TAG(PT_LONG, entry->second);
}

void fill(SPropValue& out, const fake_value& value, void* owner)
{
    out = SPropValue{};
    out.ulPropTag = value.tag;
    switch (PROP_TYPE(value.tag)) {
    case PT_UNICODE: {
        const std::size_t size = (value.wide.size() + 1) * sizeof(wchar_t);
        out.Value.lpszW = static_cast<wchar_t*>(more(owner, size));
        std::memcpy(out.Value.lpszW, value.wide.c_str(), size);
        break;
    }
    case PT_STRING8: {
        const std::string text = value.bytes ? *value.bytes : std::string();
        out.Value.lpszA = static_cast<char*>(more(owner, text.size() + 1));
        std::memcpy(out.Value.lpszA, text.c_str(), text.size() + 1);
        break;
    }
    case PT_BINARY: {
        const std::string bytes = value.bytes ? *value.bytes : std::string();
        out.Value.bin.cb = static_cast<ULONG>(bytes.size());
        out.Value.bin.lpb = static_cast<BYTE*>(more(owner, bytes.size()));
        std::memcpy(out.Value.bin.lpb, bytes.data(), bytes.size());
        break;
    }
    case PT_SYSTIME:
        out.Value.ft.dwLowDateTime = static_cast<DWORD>(value.number);
        out.Value.ft.dwHighDateTime = static_cast<DWORD>(value.number >> 32);
        break;
    case PT_ERROR:
        out.Value.err = static_cast<SCODE>(value.number);
        break;
    default:
        out.Value.ul = static_cast<ULONG>(value.number);
        break;
    }
}

fake_value& fake_properties::at(ULONG tag)
{
    fake_value& value = values_[PROP_ID(tag)];
    value.tag = tag;
    return value;
}

void fake_properties::set_big_bytes(ULONG tag, std::string value)
{
    set_bytes(tag, std::move(value));
    set_error(tag, MAPI_E_NOT_ENOUGH_MEMORY);
}

fake_value* fake_properties::find(ULONG tag)
{
    const auto entry = values_.find(PROP_ID(tag));
    return entry == values_.end() ? nullptr : &entry->second;
}

fake_value fake_properties::read(ULONG tag)
{
    if (const auto other = redirected_.find(PROP_ID(tag)); other != redirected_.end()) {
        return read(other->second);
    }
    fake_value error;
    error.tag = PROP_TAG(PT_ERROR, PROP_ID(tag));
    if (const auto entry = errors_.find(PROP_ID(tag)); entry != errors_.end()) {
        error.number = static_cast<std::uint32_t>(entry->second);
        return error;
    }
    if (const fake_value* value = find(tag); value && !value->object) {
        return *value;
    }
    error.number = static_cast<std::uint32_t>(MAPI_E_NOT_FOUND);
    return error;
}

void fake_properties::write(const SPropValue& value)
{
    switch (PROP_TYPE(value.ulPropTag)) {
    case PT_UNICODE:
        set_wide(value.ulPropTag, value.Value.lpszW);
        break;
    case PT_BOOLEAN:
        set_long(value.ulPropTag, value.Value.b);
        break;
    default:
        set_long(value.ulPropTag, value.Value.ul);
        break;
    }
}

HRESULT STDMETHODCALLTYPE fake_stream::Read(void* buffer, ULONG count, ULONG* read)
{
    HRESULT result = S_OK;
    read_counts_.push_back(count);
    *read = 0;
    if (store_.scripted("Stream.Read", result)) {
        return result;
    }
    const std::uint64_t left = position_ < bytes_->size() ? bytes_->size() - position_ : 0;
    const std::size_t done = static_cast<std::size_t>(std::min<std::uint64_t>(left, count));
    std::memcpy(buffer, bytes_->data() + (done ? position_ : 0), done);
    position_ += done;
    *read = static_cast<ULONG>(done);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE fake_stream::Write(const void* buffer, ULONG count, ULONG* written)
{
    HRESULT result = S_OK;
    if (store_.scripted("Stream.Write", result)) {
        return result;
    }
    if (bytes_->size() < position_ + count) {
        bytes_->resize(static_cast<std::size_t>(position_) + count);
    }
    std::memcpy(bytes_->data() + position_, buffer, count);
    position_ += count;
    if (written) {
        *written = count;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE fake_stream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position)
{
    HRESULT result = S_OK;
    seeks_.emplace_back(move.QuadPart, origin);
    if (store_.scripted("Stream.Seek", result)) {
        return result;
    }
    position_ = static_cast<std::uint64_t>(move.QuadPart);
    if (position) {
        position->QuadPart = position_;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE fake_stream::SetSize(ULARGE_INTEGER size)
{
    HRESULT result = S_OK;
    if (!store_.scripted("Stream.SetSize", result)) {
        bytes_->resize(static_cast<std::size_t>(size.QuadPart));
    }
    return result;
}

HRESULT STDMETHODCALLTYPE fake_stream::CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE fake_stream::Commit(DWORD)
{
    return S_OK;
}

HRESULT STDMETHODCALLTYPE fake_stream::Revert()
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE fake_stream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE fake_stream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE fake_stream::Stat(STATSTG* stat, DWORD flags)
{
    HRESULT result = S_OK;
    stat_flags_ = flags;
    if (store_.scripted("Stream.Stat", result)) {
        return result;
    }
    *stat = STATSTG{};
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = claimed_ == ~std::uint64_t{0} ? bytes_->size() : claimed_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE fake_stream::Clone(IStream**)
{
    return E_NOTIMPL;
}

void* fake_stream::FindInterface(REFIID iid)
{
    HRESULT result = S_OK;
    if (iid == IID_IStream && store_.scripted("Stream.QueryInterface", result)) {
        return nullptr;
    }
    return iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream ? static_cast<IStream*>(this)
                                                                                     : nullptr;
}

template <typename... Interfaces>
HRESULT STDMETHODCALLTYPE fake_prop<Interfaces...>::GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                                                             LPSPropValue* values)
{
    HRESULT result = S_OK;
    get_flags = flags;
    *count = 0;
    *values = nullptr;
    if (scripted("GetProps", result)) {
        return result;
    }
    void* buffer = nullptr;
    if (FAILED(MAPIAllocateBuffer(static_cast<ULONG>(sizeof(SPropValue)) * tags->cValues, &buffer))) {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    *values = static_cast<SPropValue*>(buffer);
    *count = tags->cValues;
    for (ULONG i = 0; i < tags->cValues; ++i) {
        const fake_value value = properties.read(tags->aulPropTag[i]);
        fill((*values)[i], value, buffer);
        if (PROP_TYPE(value.tag) == PT_ERROR) {
            result = MAPI_W_ERRORS_RETURNED;
        }
    }
    return result;
}

template <typename... Interfaces>
HRESULT STDMETHODCALLTYPE fake_prop<Interfaces...>::OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                                                                 LPUNKNOWN* object)
{
    HRESULT result = S_OK;
    open_options = options;
    open_flags = flags;
    char name[32];
    std::snprintf(name, sizeof name, "OpenProperty %08x", static_cast<unsigned>(tag));
    if (scripted(name, result)) {
        return result;
    }
    const fake_value* value = properties.find(tag);
    if (!value || (!value->bytes && !value->object)) {
        return MAPI_E_NOT_FOUND;
    }
    ComPtr<IUnknown> opened = value->object;
    if (!opened) {
        if (*iid != IID_IStream) {
            return E_NOINTERFACE;
        }
        opened = ComPtr<IUnknown>(MakeCom<fake_stream>(store_, value->bytes));
    }
    *object = opened.detach();
    return S_OK;
}

template <typename... Interfaces>
HRESULT STDMETHODCALLTYPE fake_prop<Interfaces...>::SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray*)
{
    HRESULT result = S_OK;
    if (scripted("SetProps", result)) {
        return result;
    }
    for (ULONG i = 0; i < count; ++i) {
        properties.write(values[i]);
        written.push_back(values[i].ulPropTag);
    }
    return S_OK;
}

template <typename... Interfaces>
HRESULT STDMETHODCALLTYPE fake_prop<Interfaces...>::DeleteProps(LPSPropTagArray tags, LPSPropProblemArray*)
{
    HRESULT result = S_OK;
    if (scripted("DeleteProps", result)) {
        return result;
    }
    for (ULONG i = 0; i < tags->cValues; ++i) {
        properties.remove(tags->aulPropTag[i]);
    }
    return S_OK;
}

template <typename... Interfaces>
HRESULT STDMETHODCALLTYPE fake_prop<Interfaces...>::GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                                                    LPSPropTagArray* tags)
{
    HRESULT result = S_OK;
    if (scripted("GetIDsFromNames", result)) {
        return result;
    }
    void* buffer = nullptr;
    if (FAILED(MAPIAllocateBuffer(static_cast<ULONG>(sizeof(ULONG)) * (count + 1), &buffer))) {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    *tags = static_cast<SPropTagArray*>(buffer);
    (*tags)->cValues = count;
    store_.note_name_flags(flags);
    for (ULONG i = 0; i < count; ++i) {
        (*tags)->aulPropTag[i] = PROP_TAG(PT_UNSPECIFIED, store_.identifier(*names[i]));
    }
    return S_OK;
}

template class fake_prop<IAttach>;
template class fake_prop<IMessage, ISecuredMessage>;

void* fake_attach::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IAttachment ? static_cast<IAttach*>(this)
                                                                                 : nullptr;
}

HRESULT STDMETHODCALLTYPE fake_table::QueryRows(LONG count, ULONG, LPSRowSet* rows)
{
    HRESULT result = S_OK;
    if (store_.scripted("QueryRows " + std::to_string(count), result) || store_.scripted("QueryRows", result)) {
        return result;
    }
    const std::size_t taken = std::min<std::size_t>(rows_.size(), static_cast<std::size_t>(count));
    void* buffer = nullptr;
    MAPIAllocateBuffer(static_cast<ULONG>(sizeof(SRowSet) + taken * sizeof(SRow)), &buffer);
    *rows = static_cast<SRowSet*>(buffer);
    (*rows)->cRows = static_cast<ULONG>(taken);
    for (std::size_t i = 0; i < taken; ++i) {
        SRow& row = (*rows)->aRow[i];
        row = SRow{};
        row.cValues = static_cast<ULONG>(rows_[i].size());
        void* values = nullptr;
        MAPIAllocateBuffer(static_cast<ULONG>(sizeof(SPropValue) * (rows_[i].size() + 1)), &values);
        row.lpProps = static_cast<SPropValue*>(values);
        for (std::size_t k = 0; k < rows_[i].size(); ++k) {
            fill(row.lpProps[k], rows_[i][k], values);
        }
    }
    return S_OK;
}

ComPtr<fake_attach> fake_message::attach(const fake_row& row)
{
    std::vector<fake_value> values;
    values.push_back({PR_ATTACH_NUM, row.number, {}, nullptr, nullptr});
    values.push_back({PR_ATTACH_SIZE, row.size, {}, nullptr, nullptr});
    values.push_back({PR_ATTACH_METHOD, row.method, {}, nullptr, nullptr});
    add_wide(values, PR_DISPLAY_NAME_W, row.display_name);
    add_wide(values, PR_ATTACH_FILENAME_W, row.short_name);
    add_wide(values, PR_ATTACH_LONG_FILENAME_W, row.long_name);
    add_wide(values, PR_ATTACH_MIME_TAG_W, row.mime_tag);
    add_row(std::move(values));
    ComPtr<fake_attach> attachment = MakeCom<fake_attach>(store_);
    attachments_[row.number] = attachment;
    return attachment;
}

HRESULT STDMETHODCALLTYPE fake_message::GetAttachmentTable(ULONG, LPMAPITABLE* table)
{
    HRESULT result = S_OK;
    if (scripted("GetAttachmentTable", result)) {
        return result;
    }
    *table = MakeCom<fake_table>(store_, rows_).detach();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE fake_message::OpenAttach(ULONG number, LPCIID, ULONG, LPATTACH* attach)
{
    HRESULT result = S_OK;
    opened_.push_back(number);
    if (scripted("OpenAttach", result)) {
        return result;
    }
    const auto entry = attachments_.find(number);
    if (entry == attachments_.end()) {
        return MAPI_E_NOT_FOUND;
    }
    ComPtr<IAttach> opened(entry->second.get());
    *attach = opened.detach();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE fake_message::GetBaseMessage(IMessage** base)
{
    HRESULT result = S_OK;
    if (scripted("GetBaseMessage", result)) {
        return result;
    }
    *base = base_ ? base_->reference().detach() : nullptr;
    return S_OK;
}

void* fake_message::FindInterface(REFIID iid)
{
    HRESULT result = S_OK;
    if (iid == IID_IMessage && scripted("QueryMessage", result)) {
        return nullptr;
    }
    if (iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IMessage) {
        return static_cast<IMessage*>(this);
    }
    return secured_ && iid == IID_ISecuredMessage ? static_cast<ISecuredMessage*>(this) : nullptr;
}

HRESULT fake_item::MapiObject(IUnknown** object)
{
    HRESULT result = S_OK;
    if (store_.scripted("get_MAPIOBJECT", result)) {
        return result;
    }
    *object = ComPtr<IUnknown>(object_).detach();
    return S_OK;
}

} // namespace test
