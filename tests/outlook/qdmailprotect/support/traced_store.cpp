#include "tests/outlook/qdmailprotect/support/traced_store.h"

#include "tool/system/conversions.h"

#include <algorithm>

namespace test {

namespace {

std::string hex_tag(ULONG tag)
{
    std::string digits = winapi::hex32(tag);
    return std::string(8 - digits.size(), '0') + digits;
}

bool begins_with(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

std::string number(std::uint64_t value)
{
    return std::to_string(value);
}

std::string tags_text(LPSPropTagArray tags)
{
    std::string text;
    for (ULONG i = 0; tags && i < tags->cValues; ++i) {
        text += " " + hex_tag(tags->aulPropTag[i]);
    }
    return text;
}

std::string value_text(const SPropValue& value)
{
    std::string text = " " + hex_tag(value.ulPropTag) + "=";
    switch (PROP_TYPE(value.ulPropTag)) {
    case PT_LONG:
        return text + number(value.Value.ul);
    case PT_BOOLEAN:
        return text + (value.Value.b ? "true" : "false");
    case PT_UNICODE:
        return text + winapi::conv_to_char(value.Value.lpszW, winapi::code_page_utf8);
    default:
        return text + "?";
    }
}

std::string interface_text(REFIID iid)
{
    if (iid == IID_IUnknown) {
        return "IUnknown";
    }
    if (iid == IID_IStream) {
        return "IStream";
    }
    if (iid == IID_IMessage) {
        return "IMessage";
    }
    if (iid == IID_ISecuredMessage) {
        return "ISecuredMessage";
    }
    return "other";
}

} // namespace

void store_trace::fail_nth(std::size_t n, HRESULT result)
{
    failing_ = calls_.size() + n;
    result_ = result;
}

HRESULT store_trace::answer(const std::string& operation, HRESULT real) const
{
    for (const auto& [start, denial] : denials_) {
        if (begins_with(operation, start)) {
            return denial;
        }
    }
    return real;
}

bool store_trace::fails(const std::string& operation, HRESULT& result)
{
    calls_.push_back(operation);
    if (calls_.size() == failing_) {
        result = result_;
        return true;
    }
    for (const auto& [start, scripted] : failures_) {
        if (begins_with(operation, start)) {
            result = scripted;
            return true;
        }
    }
    return false;
}

std::vector<std::string> store_trace::calls(const std::string& start) const
{
    std::vector<std::string> found;
    std::copy_if(calls_.begin(), calls_.end(), std::back_inserter(found),
                 [&](const std::string& call) { return begins_with(call, start); });
    return found;
}

void store_trace::clear()
{
    calls_.clear();
    failures_.clear();
    denials_.clear();
    failing_ = 0;
}

void* traced_stream::FindInterface(REFIID iid)
{
    HRESULT result = S_OK;
    if (fails("QueryInterface " + interface_text(iid), result)) {
        return nullptr;
    }
    return iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream ? static_cast<IStream*>(this)
                                                                                     : nullptr;
}

HRESULT STDMETHODCALLTYPE traced_stream::Read(void* buffer, ULONG count, ULONG* read)
{
    HRESULT result = S_OK;
    if (read) {
        *read = 0;
    }
    return fails("Read " + number(count), result) ? result : inner_->Read(buffer, count, read);
}

HRESULT STDMETHODCALLTYPE traced_stream::Write(const void* buffer, ULONG count, ULONG* written)
{
    HRESULT result = S_OK;
    if (written) {
        *written = 0;
    }
    return fails("Write " + number(count), result) ? result : inner_->Write(buffer, count, written);
}

HRESULT STDMETHODCALLTYPE traced_stream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position)
{
    HRESULT result = S_OK;
    return fails("Seek " + std::to_string(move.QuadPart) + " " + number(origin), result)
               ? result
               : inner_->Seek(move, origin, position);
}

HRESULT STDMETHODCALLTYPE traced_stream::SetSize(ULARGE_INTEGER size)
{
    HRESULT result = S_OK;
    return fails("SetSize " + number(size.QuadPart), result) ? result : inner_->SetSize(size);
}

HRESULT STDMETHODCALLTYPE traced_stream::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                                ULARGE_INTEGER* written)
{
    HRESULT result = S_OK;
    return fails("CopyTo", result) ? result : inner_->CopyTo(target, count, read, written);
}

HRESULT STDMETHODCALLTYPE traced_stream::Commit(DWORD flags)
{
    HRESULT result = S_OK;
    return fails("Commit " + number(flags), result) ? result : inner_->Commit(flags);
}

HRESULT STDMETHODCALLTYPE traced_stream::Revert()
{
    HRESULT result = S_OK;
    return fails("Revert", result) ? result : inner_->Revert();
}

HRESULT STDMETHODCALLTYPE traced_stream::LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type)
{
    HRESULT result = S_OK;
    return fails("LockRegion", result) ? result : inner_->LockRegion(offset, count, type);
}

HRESULT STDMETHODCALLTYPE traced_stream::UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type)
{
    HRESULT result = S_OK;
    return fails("UnlockRegion", result) ? result : inner_->UnlockRegion(offset, count, type);
}

HRESULT STDMETHODCALLTYPE traced_stream::Stat(STATSTG* stat, DWORD flags)
{
    HRESULT result = S_OK;
    return fails("Stat " + number(flags), result) ? result : inner_->Stat(stat, flags);
}

HRESULT STDMETHODCALLTYPE traced_stream::Clone(IStream** clone)
{
    HRESULT result = S_OK;
    return fails("Clone", result) ? result : inner_->Clone(clone);
}

HRESULT STDMETHODCALLTYPE traced_table::SetColumns(LPSPropTagArray tags, ULONG flags)
{
    HRESULT result = S_OK;
    return fails("SetColumns", result) ? result : inner_->SetColumns(tags, flags);
}

HRESULT STDMETHODCALLTYPE traced_table::QueryRows(LONG count, ULONG flags, LPSRowSet* rows)
{
    HRESULT result = S_OK;
    *rows = nullptr;
    return fails("QueryRows " + std::to_string(count), result) ? result : inner_->QueryRows(count, flags, rows);
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::SaveChanges(ULONG flags)
{
    HRESULT result = S_OK;
    return fails("SaveChanges " + number(flags), result) ? result : inner_->SaveChanges(flags);
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                                                                      LPSPropValue* values)
{
    HRESULT result = S_OK;
    *count = 0;
    *values = nullptr;
    return fails("GetProps" + tags_text(tags), result) ? result : inner_->GetProps(tags, flags, count, values);
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::GetPropList(ULONG flags, LPSPropTagArray* tags)
{
    HRESULT result = S_OK;
    return fails("GetPropList", result) ? result : inner_->GetPropList(flags, tags);
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::OpenProperty(ULONG tag, LPCIID iid, ULONG options,
                                                                          ULONG flags, LPUNKNOWN* object)
{
    HRESULT result = S_OK;
    *object = nullptr;
    const std::string operation =
        "OpenProperty " + hex_tag(tag) + " " + interface_text(*iid) + " " + number(options) + " " + number(flags);
    if (fails(operation, result)) {
        return result;
    }
    ComPtr<IUnknown> opened;
    result = inner_->OpenProperty(tag, iid, options, flags, Receive(opened));
    *object = wrap_opened(tag, std::move(opened)).detach();
    return answer(operation, result);
}

template <typename Inner, typename... Interfaces>
ComPtr<IUnknown> traced_prop<Inner, Interfaces...>::wrap_opened(ULONG tag, ComPtr<IUnknown> opened)
{
    const std::string name = name_ + "." + hex_tag(tag);
    ComPtr<IStream> stream;
    ComPtr<IMessage> message;
    if (opened && SUCCEEDED(Query(opened.get(), IID_IStream, stream))) {
        return ComPtr<IUnknown>(MakeCom<traced_stream>(trace_, name, std::move(stream)));
    }
    if (opened && SUCCEEDED(Query(opened.get(), IID_IMessage, message))) {
        return ComPtr<IUnknown>(MakeCom<traced_message>(trace_, name, std::move(message))->reference());
    }
    return opened;
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::SetProps(ULONG count, LPSPropValue values,
                                                                      LPSPropProblemArray* problems)
{
    HRESULT result = S_OK;
    std::string text;
    for (ULONG i = 0; i < count; ++i) {
        text += value_text(values[i]);
    }
    text += problems ? " with problems" : "";
    return fails("SetProps" + text, result) ? result : inner_->SetProps(count, values, problems);
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::DeleteProps(LPSPropTagArray tags,
                                                                         LPSPropProblemArray* problems)
{
    HRESULT result = S_OK;
    return fails("DeleteProps" + tags_text(tags), result) ? result : inner_->DeleteProps(tags, problems);
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::GetNamesFromIDs(LPSPropTagArray* tags, LPGUID set,
                                                                             ULONG flags, ULONG* count,
                                                                             LPMAPINAMEID** names)
{
    HRESULT result = S_OK;
    return fails("GetNamesFromIDs", result) ? result : inner_->GetNamesFromIDs(tags, set, flags, count, names);
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE traced_prop<Inner, Interfaces...>::GetIDsFromNames(ULONG count, LPMAPINAMEID* names,
                                                                             ULONG flags, LPSPropTagArray* tags)
{
    HRESULT result = S_OK;
    *tags = nullptr;
    return fails("GetIDsFromNames", result) ? result : inner_->GetIDsFromNames(count, names, flags, tags);
}

template class traced_prop<IAttach, IAttach>;
template class traced_prop<IMessage, IMessage, ISecuredMessage>;

void* traced_attach::FindInterface(REFIID iid)
{
    HRESULT result = S_OK;
    if (fails("QueryInterface " + interface_text(iid), result)) {
        return nullptr;
    }
    return iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IAttachment ? static_cast<IAttach*>(this)
                                                                                 : nullptr;
}

ComPtr<IAttach> traced_message::wrap_attach(ULONG attach_number, ComPtr<IAttach> attach)
{
    if (!attach) {
        return nullptr;
    }
    return ComPtr<IAttach>(MakeCom<traced_attach>(trace_, "attach" + number(attach_number), std::move(attach)));
}

HRESULT STDMETHODCALLTYPE traced_message::GetAttachmentTable(ULONG flags, LPMAPITABLE* table)
{
    HRESULT result = S_OK;
    *table = nullptr;
    if (fails("GetAttachmentTable", result)) {
        return result;
    }
    ComPtr<IMAPITable> opened;
    result = inner_->GetAttachmentTable(flags, Receive(opened));
    if (opened) {
        *table = MakeCom<traced_table>(trace_, name_ + ".table", std::move(opened)).detach();
    }
    return result;
}

HRESULT STDMETHODCALLTYPE traced_message::OpenAttach(ULONG attach_number, LPCIID iid, ULONG flags, LPATTACH* attach)
{
    HRESULT result = S_OK;
    *attach = nullptr;
    if (fails("OpenAttach " + number(attach_number), result)) {
        return result;
    }
    ComPtr<IAttach> opened;
    result = inner_->OpenAttach(attach_number, iid, flags, Receive(opened));
    *attach = wrap_attach(attach_number, std::move(opened)).detach();
    return result;
}

HRESULT STDMETHODCALLTYPE traced_message::CreateAttach(LPCIID iid, ULONG flags, ULONG* attach_number, LPATTACH* attach)
{
    HRESULT result = S_OK;
    *attach = nullptr;
    const std::string operation = std::string("CreateAttach ") + (iid ? "iid " : "null ") + number(flags);
    if (fails(operation, result)) {
        return result;
    }
    ComPtr<IAttach> created;
    result = inner_->CreateAttach(iid, flags, attach_number, Receive(created));
    *attach = wrap_attach(*attach_number, std::move(created)).detach();
    return answer(operation, result);
}

HRESULT STDMETHODCALLTYPE traced_message::DeleteAttach(ULONG attach_number, ULONG ui, LPMAPIPROGRESS progress,
                                                       ULONG flags)
{
    HRESULT result = S_OK;
    const std::string text = "DeleteAttach " + number(attach_number) + " " + number(ui) +
                             (progress ? " progress " : " null ") + number(flags);
    return fails(text, result) ? result : inner_->DeleteAttach(attach_number, ui, progress, flags);
}

HRESULT STDMETHODCALLTYPE traced_message::GetRecipientTable(ULONG flags, LPMAPITABLE* table)
{
    HRESULT result = S_OK;
    return fails("GetRecipientTable", result) ? result : inner_->GetRecipientTable(flags, table);
}

HRESULT STDMETHODCALLTYPE traced_message::ModifyRecipients(ULONG flags, LPADRLIST changes)
{
    HRESULT result = S_OK;
    return fails("ModifyRecipients", result) ? result : inner_->ModifyRecipients(flags, changes);
}

HRESULT STDMETHODCALLTYPE traced_message::SubmitMessage(ULONG flags)
{
    HRESULT result = S_OK;
    return fails("SubmitMessage", result) ? result : inner_->SubmitMessage(flags);
}

HRESULT STDMETHODCALLTYPE traced_message::SetReadFlag(ULONG flags)
{
    HRESULT result = S_OK;
    return fails("SetReadFlag", result) ? result : inner_->SetReadFlag(flags);
}

HRESULT STDMETHODCALLTYPE traced_message::GetBaseMessage(IMessage** base)
{
    HRESULT result = S_OK;
    *base = nullptr;
    if (fails("GetBaseMessage", result)) {
        return result;
    }
    *base = ComPtr<IMessage>(base_).detach();
    return S_OK;
}

void* traced_message::FindInterface(REFIID iid)
{
    HRESULT result = S_OK;
    if (fails("QueryInterface " + interface_text(iid), result)) {
        return nullptr;
    }
    if (iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IMessage) {
        return static_cast<IMessage*>(this);
    }
    return secured_ && iid == IID_ISecuredMessage ? static_cast<ISecuredMessage*>(this) : nullptr;
}

} // namespace test
