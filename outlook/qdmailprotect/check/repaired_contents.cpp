#include "outlook/qdmailprotect/check/repaired_contents.h"

#include "outlook/qdmailprotect/access/io_stream.h"
#include "outlook/qdmailprotect/results/response_contents.h"
#include "tool/icap/response_message.h"

#include <exception>

namespace {

constexpr ULONG ForReadingAndWriting = 2; ///< STGM_READWRITE

/// Returns a failure also for a success that comes without an object.
HRESULT WithObject(HRESULT result, bool object)
{
    return FAILED(result) ? result : object ? S_OK : E_NOINTERFACE;
}

HRESULT OpenForChange(IMAPIProp* object, ULONG tag, ComPtr<IStream>& stream)
{
    ComPtr<IUnknown> property;
    const HRESULT opened =
        object->OpenProperty(tag, &IID_IStream, ForReadingAndWriting, MAPI_MODIFY, Receive(property));
    if (FAILED(opened) || !property) {
        return WithObject(opened, false);
    }
    const HRESULT queried = Query(property.get(), IID_IStream, stream);
    return WithObject(queried, stream.get() != nullptr);
}

HRESULT ReplaceContents(IMAPIProp* object, ULONG tag, icap::message* response)
{
    if (!HasContents(response)) {
        return E_FAIL;
    }
    ComPtr<IStream> stream;
    const HRESULT opened = OpenForChange(object, tag, stream);
    if (FAILED(opened)) {
        return opened;
    }
    try {
        web::io_stream target(stream);
        CopyContents(response, target);
    } catch (const std::exception&) {
        return E_FAIL;
    }
    return stream->Commit(0);
}

} // namespace

HRESULT ReplaceBody(IMessage* message, const MailBodyInfo& body)
{
    const bool html = body.bodyType == HtmlBody || body.bodyType == RtfBody;
    return ReplaceContents(message, html ? PR_HTML : PR_BODY_A, body.scanResponse.get());
}

HRESULT ReplaceAttachment(IMessage* message, const AttachmentResult& record)
{
    if (record.attachMethod != ATTACH_BY_VALUE) {
        return E_NOTIMPL;
    }
    ComPtr<IAttach> attach;
    const HRESULT opened = message->OpenAttach(record.attachNumber, nullptr, MAPI_MODIFY, Receive(attach));
    if (FAILED(opened) || !attach) {
        return WithObject(opened, false);
    }
    const HRESULT replaced = ReplaceContents(attach.get(), PR_ATTACH_DATA_BIN, record.repair.get());
    return FAILED(replaced) ? replaced : attach->SaveChanges(0);
}
