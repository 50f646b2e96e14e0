#include "outlook/qdmailprotect/access/item_access.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "outlook/qdmailprotect/results/check_results.h"
#include "tool/system/conversions.h"

#include <array>
#include <cstring>

namespace {

struct ItemKind
{
    const IID& iid;
    const char* failure; ///< log line for an item that has the interface but no object
};

constexpr ItemKind ItemKinds[] = {
    {IID_MailItem, "Failed to get the MAPI item interface (mail), hr = "},
    {IID_MeetingItem, "Failed to get the MAPI item interface (meeting), hr = "},
    {IID_TaskItem, "Failed to get the MAPI item interface (task), hr = "},
};

constexpr ULONG PlainBodyBlock = 16384;

/// Returns the store's object behind `item` if the item is of the given kind, and null otherwise.
ComPtr<IUnknown> ObjectOfKind(IUnknown* item, const ItemKind& kind)
{
    ComPtr<OutlookItemInterface> typed;
    if (FAILED(Query(item, kind.iid, typed)) || !typed) {
        return nullptr;
    }
    ComPtr<IUnknown> object;
    const HRESULT result = GetMapiObject(typed.get(), object);
    if (FAILED(result) || !object) {
        LOG_LINE(logging::outlook_log(), 200, kind.failure << result);
        return nullptr;
    }
    return object;
}

/// Returns true if the property can be read as text or is only too large to be returned as a value. An empty HTML
/// property cannot be read as text, although the store reports no error: if it determined the type, its stream would be
/// skipped as an empty body, and the plain text of the message would open unscanned.
bool HasText(IMessage* message, ULONG tag)
{
    SCODE error = S_OK;
    std::string text;
    return GetPropNarrowString(message, tag, text, &error) || error == MAPI_E_NOT_ENOUGH_MEMORY;
}

} // namespace

HRESULT ItemToMessage(ComPtr<IUnknown> item, ComPtr<IMessage>& message)
{
    if (!item) {
        return E_POINTER;
    }
    ComPtr<IUnknown> object;
    for (const ItemKind& kind : ItemKinds) {
        object = ObjectOfKind(item.get(), kind);
        if (object) {
            break;
        }
    }
    if (!object) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get the MAPI object");
        return E_NOINTERFACE;
    }
    if (FAILED(Query(object.get(), IID_IMessage, message)) || !message) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get the IMessage interface");
        return E_NOINTERFACE;
    }
    return S_OK;
}

HRESULT ReadPlainBody(IMessage* message, std::string& text)
{
    ComPtr<IUnknown> property;
    HRESULT result = OpenObject(message, PR_BODY_A, IID_IStream, property);
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to open plain body prop: 0x" << HexResult(result));
        return result;
    }
    ComPtr<IStream> stream;
    if (!property || FAILED(Query(property.get(), IID_IStream, stream)) || !stream) {
        return E_FAIL;
    }
    STATSTG stat{};
    result = stream->Stat(&stat, STATFLAG_NONAME);
    const std::uint64_t size = stat.cbSize.QuadPart;
    LOG_LINE(logging::outlook_log(), 400, "Getting a plain body, size: " << size);
    if (FAILED(result)) {
        return result;
    }
    if (size > 0xFFFFFFFFU) {
        return E_FAIL;
    }
    std::array<char, PlainBodyBlock> block;
    for (std::uint64_t done = 0; done < size;) {
        ULONG count = 0;
        result = stream->Read(block.data(), PlainBodyBlock, &count);
        if (FAILED(result)) {
            return result;
        }
        if (count == 0) {
            break; // the stream is shorter than its stated size
        }
        const auto* const end = static_cast<const char*>(std::memchr(block.data(), '\0', count));
        text.append(block.data(), end ? static_cast<std::size_t>(end - block.data()) : count);
        done += count;
    }
    return S_OK;
}

std::uint32_t DeduceBodyType(IMessage* message)
{
    if (HasText(message, PR_HTML)) {
        return HtmlBody;
    }
    return HasText(message, PR_BODY_A) ? PlainBody : UndefinedBody;
}
