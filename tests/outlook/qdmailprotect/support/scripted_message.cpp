#include "tests/outlook/qdmailprotect/support/scripted_message.h"

#include "tests/outlook/qdmailprotect/support/scripted_item.h"
#include "tests/outlook/qdmailprotect/support/scripted_stream.h"
#include "tests/outlook/qdmailprotect/support/scripted_table.h"
#include "tool/system/conversions.h"

namespace test {

namespace {

std::string utf8(const wchar_t* text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

std::string number(ULONG value)
{
    return std::to_string(value);
}

std::string tags_text(LPSPropTagArray tags)
{
    std::string text;
    for (ULONG i = 0; tags && i < tags->cValues; ++i) {
        text += " " + hex_text(tags->aulPropTag[i]);
    }
    return text;
}

std::string value_text(const SPropValue& value)
{
    std::string text = " " + hex_text(value.ulPropTag) + "=";
    switch (PROP_TYPE(value.ulPropTag)) {
    case PT_LONG:
        return text + number(value.Value.ul);
    case PT_BOOLEAN:
        return text + (value.Value.b ? "true" : "false");
    case PT_UNICODE:
        return text + utf8(value.Value.lpszW);
    default:
        return text + "?";
    }
}

/// Returns the first field of the set and the name in it: " 00020386:content-type".
std::string name_text(const MAPINAMEID& name)
{
    return " " + hex_text(name.lpguid->Data1) + ":" +
           (name.ulKind == MNID_ID ? std::to_string(name.Kind.lID) : utf8(name.Kind.lpwstrName));
}

} // namespace

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::QueryInterface(REFIID iid, void** object)
{
    return query(iid, object, [&] { return ComObject<Interfaces...>::QueryInterface(iid, object); });
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::SaveChanges(ULONG flags)
{
    return run("SaveChanges " + number(flags), [&] { return inner_->SaveChanges(flags); });
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                                                                        LPSPropValue* values)
{
    *count = 0;
    *values = nullptr;
    return run("GetProps" + tags_text(tags) + " " + hex_text(flags), [&] {
        HRESULT result = inner_->GetProps(tags, flags, count, values);
        for (ULONG i = 0; tags && i < *count; ++i) {
            if (const SPropValue* given = store_.answer_to(tags->aulPropTag[i])) {
                (*values)[i] = *given;
                result = PROP_TYPE(given->ulPropTag) == PT_ERROR ? HRESULT{MAPI_W_ERRORS_RETURNED} : result;
            }
        }
        return result;
    });
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::GetPropList(ULONG flags, LPSPropTagArray* tags)
{
    return run("GetPropList", [&] { return inner_->GetPropList(flags, tags); });
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::OpenProperty(ULONG tag, LPCIID iid, ULONG options,
                                                                            ULONG flags, LPUNKNOWN* object)
{
    *object = nullptr;
    const std::string operation =
        "OpenProperty " + hex_text(tag) + " " + interface_text(*iid) + " " + number(options) + " " + number(flags);
    return run(operation, [&] {
        ComPtr<IUnknown> opened;
        const HRESULT result = inner_->OpenProperty(tag, iid, options, flags, Receive(opened));
        *object = wrap_opened(tag, std::move(opened)).detach();
        return result;
    });
}

template <typename Inner, typename... Interfaces>
ComPtr<IUnknown> scripted_prop<Inner, Interfaces...>::wrap_opened(ULONG tag, ComPtr<IUnknown> opened)
{
    const std::string name = name_ + "." + hex_text(tag);
    ComPtr<IStream> stream;
    ComPtr<IMessage> message;
    ComPtr<IStorage> storage;
    if (opened && SUCCEEDED(Query(opened.get(), IID_IStream, stream))) {
        return ComPtr<IUnknown>(MakeCom<scripted_stream>(store_, name, std::move(stream)));
    }
    if (opened && SUCCEEDED(Query(opened.get(), IID_IMessage, message))) {
        return ComPtr<IUnknown>(MakeCom<scripted_message>(store_, name, std::move(message))->reference());
    }
    if (opened && SUCCEEDED(Query(opened.get(), IID_IStorage, storage))) {
        return ComPtr<IUnknown>(MakeCom<scripted_object>(store_, name, IID_IStorage));
    }
    return opened;
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::SetProps(ULONG count, LPSPropValue values,
                                                                        LPSPropProblemArray* problems)
{
    std::string text;
    for (ULONG i = 0; i < count; ++i) {
        text += value_text(values[i]);
    }
    text += problems ? " with problems" : "";
    return run("SetProps" + text, [&] { return inner_->SetProps(count, values, problems); });
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::DeleteProps(LPSPropTagArray tags,
                                                                           LPSPropProblemArray* problems)
{
    return run("DeleteProps" + tags_text(tags), [&] { return inner_->DeleteProps(tags, problems); });
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::GetNamesFromIDs(LPSPropTagArray* tags, LPGUID set,
                                                                               ULONG flags, ULONG* count,
                                                                               LPMAPINAMEID** names)
{
    return run("GetNamesFromIDs", [&] { return inner_->GetNamesFromIDs(tags, set, flags, count, names); });
}

template <typename Inner, typename... Interfaces>
HRESULT STDMETHODCALLTYPE scripted_prop<Inner, Interfaces...>::GetIDsFromNames(ULONG count, LPMAPINAMEID* names,
                                                                               ULONG flags, LPSPropTagArray* tags)
{
    *tags = nullptr;
    std::string text;
    for (ULONG i = 0; i < count; ++i) {
        text += name_text(*names[i]);
    }
    return run("GetIDsFromNames" + text + " " + number(flags), [&] {
        const HRESULT result = inner_->GetIDsFromNames(count, names, flags, tags);
        for (ULONG i = 0; store_.refuses_names() && *tags && i < (*tags)->cValues; ++i) {
            (*tags)->aulPropTag[i] = PROP_TAG(PT_ERROR, 0);
        }
        return store_.refuses_names() ? HRESULT{MAPI_W_ERRORS_RETURNED} : result;
    });
}

template class scripted_prop<IAttach, IAttach>;
template class scripted_prop<IMessage, IMessage, ISecuredMessage>;

void* scripted_attach::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IAttachment ? static_cast<IAttach*>(this)
                                                                                 : nullptr;
}

ComPtr<IAttach> scripted_message::wrap_attach(ULONG attach_number, ComPtr<IAttach> attach)
{
    if (!attach) {
        return nullptr;
    }
    return ComPtr<IAttach>(MakeCom<scripted_attach>(store_, "attach" + number(attach_number), std::move(attach)));
}

HRESULT STDMETHODCALLTYPE scripted_message::GetAttachmentTable(ULONG flags, LPMAPITABLE* table)
{
    *table = nullptr;
    return run("GetAttachmentTable " + number(flags), [&] {
        ComPtr<IMAPITable> opened;
        const HRESULT result = inner_->GetAttachmentTable(flags, Receive(opened));
        if (opened) {
            *table = MakeCom<scripted_table>(store_, name_ + ".table", std::move(opened)).detach();
        }
        return result;
    });
}

HRESULT STDMETHODCALLTYPE scripted_message::OpenAttach(ULONG attach_number, LPCIID iid, ULONG flags, LPATTACH* attach)
{
    *attach = nullptr;
    return run("OpenAttach " + number(attach_number) + (iid ? " iid " : " null ") + number(flags), [&] {
        ComPtr<IAttach> opened;
        const HRESULT result = inner_->OpenAttach(attach_number, iid, flags, Receive(opened));
        *attach = wrap_attach(attach_number, std::move(opened)).detach();
        return result;
    });
}

HRESULT STDMETHODCALLTYPE scripted_message::CreateAttach(LPCIID iid, ULONG flags, ULONG* attach_number,
                                                         LPATTACH* attach)
{
    *attach = nullptr;
    return run(std::string("CreateAttach ") + (iid ? "iid " : "null ") + number(flags), [&] {
        ComPtr<IAttach> created;
        const HRESULT result = inner_->CreateAttach(iid, flags, attach_number, Receive(created));
        *attach = wrap_attach(*attach_number, std::move(created)).detach();
        return result;
    });
}

HRESULT STDMETHODCALLTYPE scripted_message::DeleteAttach(ULONG attach_number, ULONG ui, LPMAPIPROGRESS progress,
                                                         ULONG flags)
{
    const std::string text = "DeleteAttach " + number(attach_number) + " " + number(ui) +
                             (progress ? " progress " : " null ") + number(flags);
    return run(text, [&] { return inner_->DeleteAttach(attach_number, ui, progress, flags); });
}

HRESULT STDMETHODCALLTYPE scripted_message::GetRecipientTable(ULONG flags, LPMAPITABLE* table)
{
    return run("GetRecipientTable", [&] { return inner_->GetRecipientTable(flags, table); });
}

HRESULT STDMETHODCALLTYPE scripted_message::ModifyRecipients(ULONG flags, LPADRLIST changes)
{
    return run("ModifyRecipients", [&] { return inner_->ModifyRecipients(flags, changes); });
}

HRESULT STDMETHODCALLTYPE scripted_message::SubmitMessage(ULONG flags)
{
    return run("SubmitMessage", [&] { return inner_->SubmitMessage(flags); });
}

HRESULT STDMETHODCALLTYPE scripted_message::SetReadFlag(ULONG flags)
{
    return run("SetReadFlag", [&] { return inner_->SetReadFlag(flags); });
}

HRESULT STDMETHODCALLTYPE scripted_message::GetBaseMessage(IMessage** base)
{
    *base = nullptr;
    return run("GetBaseMessage", [&] {
        *base = ComPtr<IMessage>(base_).detach();
        return HRESULT{S_OK};
    });
}

void* scripted_message::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_IMAPIProp || iid == IID_IMessage) {
        return static_cast<IMessage*>(this);
    }
    return secured_ && iid == IID_ISecuredMessage ? static_cast<ISecuredMessage*>(this) : nullptr;
}

} // namespace test
